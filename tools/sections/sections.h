// All sections, in the order of a report.
#ifndef TESSARY_TOOLS_SECTIONS_SECTIONS_H
#define TESSARY_TOOLS_SECTIONS_SECTIONS_H

#include "tools/section.h"

namespace tool {

extern const SectionInfo kCpuSection;
extern const SectionInfo kProcessSection;
extern const SectionInfo kProcmemSection;
extern const SectionInfo kMemorySection;
extern const SectionInfo kThermalSection;
extern const SectionInfo kDiskSection;
extern const SectionInfo kNetSection;
extern const SectionInfo kGpuSection;
extern const SectionInfo kDspSection;
extern const SectionInfo kDdrSection;

}  // namespace tool

#endif
