// SPDX-License-Identifier: MIT
// A library that is no server.
extern "C" int NotAServer() { return 0; }
