// Every service of the embedded host. Programs usually include platform/platform.h instead, which
// gives the same names on both hosts.
#pragma once

#include "host/classes.h"
#include "host/code_pages.h"
#include "host/critical_sections.h"
#include "host/debug_output.h"
#include "host/error_objects.h"
#include "host/free_threaded_marshaler.h"
#include "host/identifiers.h"
#include "host/last_error.h"
#include "host/marshalling.h"
#include "host/memory_streams.h"
#include "host/modules.h"
#include "host/persistence.h"
#include "host/registry.h"
#include "host/resources.h"
#include "host/safe_arrays.h"
#include "host/strings.h"
#include "host/task_memory.h"
#include "host/type_information.h"
#include "host/variant_conversion.h"
#include "host/variants.h"
