#include "host/memory_streams.h"
