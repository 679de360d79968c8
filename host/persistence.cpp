#include "host/persistence.h"
