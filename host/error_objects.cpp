#include "host/error_objects.h"
