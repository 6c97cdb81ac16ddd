// A board with DSPs, and what the tests of the DSP monitor say of it.
#ifndef TESSARY_TESTS_DSP_DSP_BOARD_H
#define TESSARY_TESTS_DSP_DSP_BOARD_H

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "simulator/board/board.h"
#include "simulator/devices/dsp_service.h"
#include "tessary/dsp_mon.h"
#include "tests/support.h"

inline const std::string kAttach = R"(open '":;./\attachuserpd&_dom=)";
inline const std::string kOpen =
    "open file:///libtremloquery_skel.so?tremloquery_skel_handle_invoke&_modver=1.0&_dom=";

class DspBoard : public testing::Test {
 protected:
  DspBoard() {
    dsps_.profile([](const std::string& dsp, simulator::Nanoseconds now) {
      const std::uint32_t clock = dsp == "adsp" ? 900U : dsp == "npu" ? 1100U : 0xffffffffU;
      return simulator::DspFigures{static_cast<float>(now / 100000000), clock, 7};
    });
  }

  // Binds the entry points.
  void bind() { dsp::DSP_MON{2}; }

  void expectNothingHeld() {
    EXPECT_EQ(dsps_.openHandles(), 0U);
    EXPECT_EQ(dsps_.liveBuffers(), 0U);
    EXPECT_EQ(dsps_.wrongReleases(), 0);
  }

  simulator::Board board_;
  simulator::DspService dsps_{board_};
};

#endif
