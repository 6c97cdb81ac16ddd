// The DSPs that a monitor can be constructed for.
#ifndef TESSARY_DSP_DSP_IDS_H
#define TESSARY_DSP_DSP_IDS_H

namespace dsp {

constexpr int kAdspId = 2;
constexpr int kCdspId = 3;

}  // namespace dsp

#endif
