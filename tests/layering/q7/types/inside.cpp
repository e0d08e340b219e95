// A source that may use text's public headers but looks inside text.
#include "q7/text/internal/own.h"
