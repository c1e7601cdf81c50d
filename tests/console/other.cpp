#define NAME "other"
#include "part.h"
