// The boards that the library knows, and the check for the newest generation of them.
//
// The tables are writable process-wide data, looked at by each validation and each use of the topology: a
// host may correct a row before. Nothing guards them against use from several threads.
#ifndef TESSARY_BOARD_H
#define TESSARY_BOARD_H

#include <cstdint>

#include "tessary/export.h"

struct BoardInfoRow {
  char socModel[12];   // as the soc0 machine node names it, NUL-padded
  uint32_t featureID;  // compared with the other rows' alone
  uint32_t coreCount;  // read by nothing
};

struct BoardInfoMap {
  char platformName[12];  // as getprop ro.board.platform names it, NUL-padded
  BoardInfoRow rows[9];
};

struct CpuTopologyRow {
  char socModel[12];
  uint32_t featureID;
  uint32_t coreCount;
  int capacity[8];  // of each core, on the kernel's scale, where the largest core is 1024
};

TESSARY_API extern BoardInfoMap boardInfoMap;

// The same models in the same order.
TESSARY_API extern CpuTopologyRow CPU_topology[9];

// True when the platform name contains "brindle", as checkMachineName last saw it; false at load.
TESSARY_API extern bool gen3Machine;

// Sets gen3Machine from the first word that "getprop ro.board.platform" prints (at most nine characters of it
// are looked at). Keeps the flag when the command cannot be run. ddr::DDR_MON calls it to choose its device
// interface.
TESSARY_API void checkMachineName();

#endif
