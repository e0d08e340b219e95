// A test that looks inside another folder.
#include "q7/cipher/internal/rounds.h"
#include "q7/text/internal/own.h"
