#include "host/classes.h"
