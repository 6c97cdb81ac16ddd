// A board with cores for the tests of the CPU monitor.
#ifndef TESSARY_TESTS_CPU_CPU_BOARD_H
#define TESSARY_TESTS_CPU_CPU_BOARD_H

#include <string>
#include <vector>

#include "simulator/board/board.h"
#include "tests/support.h"

struct CpuBoard : simulator::Board {
  // One capacity for each core, on the kernel's scale.
  explicit CpuBoard(const std::vector<int>& capacities)
      : Board{simulator::Cores{static_cast<int>(capacities.size())}} {
    for (std::size_t core = 0; core < capacities.size(); ++core) {
      file(node(core, "cpu_capacity"), std::to_string(capacities[core]) + "\n");
    }
  }

  static std::string node(std::size_t core, const std::string& name) {
    return "/sys/devices/system/cpu/cpu" + std::to_string(core) + "/" + name;
  }
};

#endif
