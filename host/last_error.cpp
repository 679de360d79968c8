#include "host/last_error.h"
