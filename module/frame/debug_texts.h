// SPDX-License-Identifier: MIT
// The texts of the diagnostic channel. One text for an event; none of them changes a result. They
// stay as they are, spelling and line ends included, since people search logs for them.
#pragma once

namespace rastel::debug_texts {

inline constexpr char kVectorFail[] = "E_FAIL";
inline constexpr char kHolderEmpty[] = "CInternalClassHolder::Save()->save empty object to stream";
// The writing side says "ReadFromStream" too.
inline constexpr char kElementNotWritten[] = "ReadFromStream()->can't write element\r\n";
inline constexpr char kElementNotRead[] = "ReadFromStream()->can't read element\r\n";
inline constexpr char kObjectNotSaved[] =
    "WriteToStream()->Object cannot be saved. saving CLSID_NULL instead!\n";
inline constexpr char kObjectNotCreated[] =
    "ReadFromStream()->can't read object from stream. create instance failed.!\n";
inline constexpr char kUsingGenericClass[] = "\nReadFromStream()->using generic class.\n";
inline constexpr char kNoMemoryStream[] =
    "GetRealCopyOfVariant()->CreateStreamOnHGlobal failed \r\n";
inline constexpr char kMapPointerNotNull[] =
    "AOI::get_AttributeMap()-> with zero initialised pointer expected. release!\r\n";
// These three take the text of the exception.
inline constexpr char kAoiSizeException[] = "Aoi::GetMaxSize()->exception occured [%s]\r\n";
inline constexpr char kAoiSaveException[] = "Aoi::Save()->exception occured [%s]\r\n";
inline constexpr char kAoiLoadException[] = "Aoi::Load()->exception occured [%s]\r\n";
inline constexpr char kAoiTagNotSaved[] = "Aoi::Save()->can't save tag -> ignoring\r\n";
inline constexpr char kAoiTagNotRead[] = "Aoi::Load()->can't read tag variant from stream";
inline constexpr char kTileWithoutGenericInterface[] =
    "IAoi::SplitTiles()->can't query interface iaoi\r\n";

}  // namespace rastel::debug_texts
