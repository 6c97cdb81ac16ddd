// What the file systems of a board say of their nodes.
#ifndef TESSARY_SIMULATOR_SEAM_STATUS_H
#define TESSARY_SIMULATOR_SEAM_STATUS_H

#include <sys/types.h>

#include <string>

namespace simulator {

constexpr int kPageBytes = 4096;  // what every file of /sys says that it holds

bool isBelow(const std::string& path, const std::string& folder);

// Of a path's one name. Walks over a tree take two nodes with one number for the same.
ino_t inodeOf(const std::string& path);

}  // namespace simulator

#endif
