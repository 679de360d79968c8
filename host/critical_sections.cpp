#include "host/critical_sections.h"
