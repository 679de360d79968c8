// The wrappers that all text, values, failures and locks of the module pass through.
#pragma once

#include "frame/bstr.h"
#include "frame/exceptions.h"
#include "frame/lockable.h"
#include "frame/variants.h"
