// A source that crosses the layering in every way the check knows.
#include "q7/files/utils.h"
#include "q7/log/internal/line_format.h"
#include "q7/q7.h"
#include "q7/text/internal/own.h"
