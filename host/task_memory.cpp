#include "host/task_memory.h"
