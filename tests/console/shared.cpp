#define NAME "shared"
#include "part.h"
