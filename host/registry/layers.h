// SPDX-License-Identifier: MIT
// Trees that lie on top of one another: what packages brought below, what the user or the program
// entered above. An entry above stands in the place of the one below.
#pragma once

#include "host/registry/tree.h"

namespace host {

// Both together; either may be null, which is an empty tree.
RegistryKeyPointer LayRegistryOver(const RegistryKeyPointer& below,
                                   const RegistryKeyPointer& above);

// What has to lie over `below` so that both together are `whole`. What `below` has and `whole` has
// not cannot be said and stays.
RegistryKeyPointer RegistryBeyond(const RegistryKeyPointer& below, const RegistryKeyPointer& whole);

// Whether two trees hold the same.
bool SameRegistry(const RegistryKey& a, const RegistryKey& b);

// The trees of all files `rastelhost/registry.d/*.registry` in the folders that XDG_DATA_DIRS names
// (by default /usr/local/share and /usr/share), those of an earlier folder above the later ones',
// and names in their order. Null if there is none. A file that cannot be read, or is damaged, is
// passed over with a line of debug output. The path of a module or of a type library in such a file
// that begins with a dot is relative to the folder of the file.
RegistryKeyPointer ReadPackageRegistries();

}  // namespace host
