// SPDX-License-Identifier: MIT
// A look at the Huffman tables of a JPEG before anybody decodes it.
#pragma once

#include "pictures/byte_source.h"

namespace pictures {

// Raises where a table states more than the 256 codes that there are bytes: the picture library
// would write them all behind its room for them. The source stands anywhere afterwards.
void CheckHuffmanTables(ByteSource& source);

}  // namespace pictures
