// A source whose includes all point down the layers.
#include "q7/internal/scoped_lock.h"
#include "q7/text/text_utils.h"
