#include "host/resources.h"
