#include "host/marshalling.h"
