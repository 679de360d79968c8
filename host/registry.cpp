#include "host/registry.h"
