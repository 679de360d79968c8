#include "host/free_threaded_marshaler.h"
