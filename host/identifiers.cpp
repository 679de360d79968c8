#include "host/identifiers.h"
