#include "host/code_pages.h"
