#pragma once

#include "host/interfaces.h"
