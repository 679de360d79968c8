// Sessions at a command line, as texts: what was typed, and what the programs said to it.
//
//     # A comment.
//     $ bytes ByteVectorKLP 03 01
//     > 03 00 00 00 > cut.vec
//     $ rastel dump cut.vec
//     22 bytes, broken at ...
//     exit 1
//
// A line with > goes on with the command above. Exit codes other than 0 are shown. Programs are
// those of the build, and commands of the session's own are
//     bytes HEX         bytes; the name or {identifier} of a class is its identifier, 9x( HEX ) is
//                       nine times the bytes between
//     head COUNT FILE   the first bytes of a file; tail COUNT FILE the last lines
//     cat FILE...       the bytes of several files
//     hex FILE          the bytes of a file, in hexadecimal
//     cp FROM TO, rm FILE, mkdir FOLDER, ls [FOLDER]
// COMMAND > FILE puts into a file what the command says, > /dev/null puts it nowhere. `tests/data/`
// is the folder of that name, MODULE the module and LIBRARY its type library on either host.
#pragma once

#include <filesystem>
#include <string>

#include "tests/support/temp_file.h"

namespace tests {

class Session {
 public:
  // In a working folder and a registry of its own.
  Session();
  // Takes the module out of the registry, which programs share on some hosts.
  ~Session();
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  // Runs the commands of a session, and gives the session as it went now: the same text if the
  // programs say what they said then.
  std::string Play(const std::string& session);
  // One command: what was said, and the exit code if it is not 0.
  std::string Run(const std::string& command);

 private:
  const TempFile work_;
  const TempFile registry_{"registry"};
  const std::filesystem::path oldFolder_ = std::filesystem::current_path();
};

std::string FileContent(const std::filesystem::path& path);

}  // namespace tests
