// A public header that leans on an internal one.
#pragma once

#include "q7/text/internal/own.h"
