#include "host/safe_arrays.h"
