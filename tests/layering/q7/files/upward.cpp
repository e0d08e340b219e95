// A lower layer that reaches up to the start-up concept, which stands on it.
#include "q7/runtime/startup.h"
