#include "host/variant_conversion.h"
