#include "host/variants.h"
