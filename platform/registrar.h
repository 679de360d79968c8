// SPDX-License-Identifier: MIT
// The platform's registrar, which carries out registration scripts: an object of CLSID_Registrar
// with the interface IRegistrar, on both hosts.
#pragma once

#include "platform/interface_id.h"
// Behind the platform's own headers.
#include "host/registry/script_interface.h"

RASTEL_INTERFACE_ID(IRegistrar);
