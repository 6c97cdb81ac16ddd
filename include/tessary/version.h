// Which build of the library is loaded. Fixed at build time: nothing is read from the system.
#ifndef TESSARY_VERSION_H
#define TESSARY_VERSION_H

#include <string>

#include "tessary/export.h"

// Writes five lines to standard output and flushes: a heading, the version, the build's date and time as the
// compiler stamped them, and the release type.
TESSARY_API void printLibraryVersion();

// The version alone: a v and three numbers with dots between them.
TESSARY_API std::string getLibraryVersion();

#endif
