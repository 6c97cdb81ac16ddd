#include "tools/sections/sections.h"

#include <algorithm>

namespace tool {

// Each in the file of its name.
const SectionInfo& cpuSection();
const SectionInfo& processSection();
const SectionInfo& procmemSection();
const SectionInfo& memorySection();
const SectionInfo& thermalSection();
const SectionInfo& diskSection();
const SectionInfo& netSection();
const SectionInfo& gpuSection();
const SectionInfo& dspSection();
const SectionInfo& ddrSection();

const Selection& allSections() {
  static const Selection all{&cpuSection(),     &processSection(), &procmemSection(), &memorySection(),
                             &thermalSection(), &diskSection(),    &netSection(),     &gpuSection(),
                             &dspSection(),     &ddrSection()};
  return all;
}

std::vector<const SectionSchema*> allSchemas() {
  std::vector<const SectionSchema*> schemas;
  for (const SectionInfo* const info : allSections()) schemas.push_back(&info->schema);
  return schemas;
}

Selection select(const std::vector<std::string>& names, bool withOnRequest) {
  Selection selection;
  for (const SectionInfo* const info : allSections()) {
    const bool named = std::find(names.begin(), names.end(), info->schema.name) != names.end();
    const bool byDefault = names.empty() && (withOnRequest || !info->onRequest);
    if (named || byDefault) selection.push_back(info);
  }
  return selection;
}

}  // namespace tool
