#include "host/strings.h"
