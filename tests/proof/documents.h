// What the tool writes, next to what it writes when nothing fails.
#ifndef TESSARY_TESTS_PROOF_DOCUMENTS_H
#define TESSARY_TESTS_PROOF_DOCUMENTS_H

#include <string>

namespace proof {

// Each figure is that of the other document, or it is absent. A row stands for the same thing in both; a sum may be of
// less where the section says so. The mistake, if there is one, names the figure.
bool isPartOfReport(const std::string& found, const std::string& faultless, std::string& mistake);

// The same for each sample of a recording, at the same time.
bool isPartOfRecording(const std::string& found, const std::string& faultless, std::string& mistake);

}  // namespace proof

#endif
