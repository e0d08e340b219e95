// A program that looks inside the library.
#include "q7/cipher/internal/kernels.h"
#include "q7/q7.h"
