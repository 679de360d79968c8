// SPDX-License-Identifier: MIT
// Every service of the embedded host. Programs usually include platform/platform.h instead, which
// gives the same names on both hosts.
#pragma once

#include "host/base/last_error.h"
#include "host/classes/apartments.h"
#include "host/classes/creation.h"
#include "host/classes/free_threaded_marshaler.h"
#include "host/classes/identifiers.h"
#include "host/classes/marshalling.h"
#include "host/classes/persistence.h"
#include "host/registry/keys.h"
#include "host/registry/script_interface.h"
#include "host/services/code_pages.h"
#include "host/services/critical_sections.h"
#include "host/services/debug_output.h"
#include "host/services/error_objects.h"
#include "host/services/error_words.h"
#include "host/services/memory_streams.h"
#include "host/services/module_files.h"
#include "host/services/resources.h"
#include "host/services/task_memory.h"
#include "host/types/added_modules.h"
#include "host/types/loading.h"
#include "host/values/conversion.h"
#include "host/values/safe_arrays.h"
#include "host/values/strings.h"
#include "host/values/variants.h"
