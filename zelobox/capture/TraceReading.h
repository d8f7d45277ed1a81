/// @file
/// Recorded traffic read from files, as it comes.
#ifndef ZELO_ZELOBOX_TRACEREADING_H
#define ZELO_ZELOBOX_TRACEREADING_H

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "zelobox/capture/InputFile.h"
#include "zelobox/capture/TraceParser.h"
#include "zelobox/protocol/TraceFile.h"

namespace zelobox {

/// What is taken for granted of a file instead of being guessed.
struct TraceForm {
    std::optional<InputFormat> format;
    std::optional<Direction> direction; ///< see traceParser()
};

/// Reads recorded traffic in any format, packed or not: no more of it is kept than one part and one record.
class TraceReader {
public:
    /// @param path  "-" for the standard input
    /// @throw InputError
    TraceReader(std::string const& path, TraceForm const& knownForm, OnProblem problemTaker);

    /// Waits for the next record.
    ///
    /// @param onPause  called before it waits for what has yet to come
    /// @return nothing at the end
    /// @throw InputError when the file cannot be read
    std::optional<TraceRecord> next(std::function<void()> const& onPause = nullptr);

    /// Takes what there is, and waits for it if there is nothing.
    ///
    /// @return false at the end
    /// @throw InputError when the file cannot be read
    bool readSome(std::function<void(TraceRecord const&)> const& onRecord);

    int descriptor() const { return file.descriptor(); }
    /// @return 0 to 1; nothing when the length of the file is not known
    std::optional<double> shareRead() const { return file.shareRead(); }

private:
    void append();

    InputFile file;
    TraceForm const form;
    OnProblem const onProblem;
    std::unique_ptr<TraceParser> parser;
    std::string start; ///< until the format is clear
    std::vector<char> part;
    bool atEnd = false;
};

/// Reads a whole trace.
///
/// @param path  "-" for the standard input
/// @throw InputError naming line or offset of whatever is wrong
std::vector<TraceRecord> readTrace(std::string const& path);

/// Reads contents that are there already. What stands before an error is handed over.
///
/// @param name  names the file in errors
/// @throw InputError naming line or offset
void readTrace(std::string const& contents, std::string const& name, TraceFormat format,
               std::function<void(TraceRecord const&)> const& onRecord);

} // namespace zelobox

#endif
