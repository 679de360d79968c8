// SPDX-License-Identifier: MIT
// Which class's stream has which format, and the stream of a file as a whole.
#pragma once

#include "tools/class_names.h"
#include "tools/stream_walk.h"

namespace tools {

// Whether WalkObject can walk over streams of the class.
bool IsFormatKnown(const KnownClass& known);

// Why an object of the class cannot be walked over, in words.
std::string UnknownFormatText(REFCLSID classId);

// Walks over the stream of an object, whose class identifier is behind the walk. The format must be
// known. Raises BrokenStream where the walk cannot go on.
void WalkObject(StreamWalk& walk, const KnownClass& known);

struct FileFindings : Findings {
  // Whether the class's identifier stands in front, as OleSaveToStream puts it.
  bool hasClassId = false;
  // In front or stated; null where the file ends before it.
  CLSID classId{};
  // Null for an unknown class.
  const KnownClass* known = nullptr;

  // Whether it is a file of another program, which its problem names.
  bool isForeign = false;

  // Otherwise nothing was looked into, and the one problem says why.
  bool IsFormatKnown() const { return known && tools::IsFormatKnown(*known); }
};

// Walks over a whole file: the stream of one object and nothing behind it. bareClass is null if the
// class identifier stands in front, else the class of which the stream is. Raises nothing.
FileFindings WalkFile(Bytes file, const KnownClass* bareClass, Listing& listing);

}  // namespace tools
