#include "host/debug_output.h"
