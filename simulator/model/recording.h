// A recording of `tessary record` as a board: what was measured over an interval holds during it, what was
// read at its end holds from half-way to the sample before to half-way to the one after, and what could not
// be read is a fault of the node that the recording's reason names.
#ifndef TESSARY_SIMULATOR_MODEL_RECORDING_H
#define TESSARY_SIMULATOR_MODEL_RECORDING_H

#include <string>

#include "simulator/model/board_file.h"
#include "simulator/model/json.h"

namespace simulator {

// Whether the text is the lines of a recording, by its first.
bool isRecording(const std::string& text);

// Both put what the recording has into the board; they throw BoardFileError for a mistake in it.
void readRecording(const std::string& text, const JsonSource& source, BoardFile& board);
void readRecording(const JsonValue& list, BoardFile& board);  // a header and samples

}  // namespace simulator

#endif
