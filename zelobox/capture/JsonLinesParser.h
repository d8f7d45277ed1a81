/// @file
/// Traces as JSON Lines, line by line.
#ifndef ZELO_ZELOBOX_JSONLINESPARSER_H
#define ZELO_ZELOBOX_JSONLINESPARSER_H

#include "zelobox/capture/TraceParser.h"

namespace zelobox {

class JsonLinesParser final : public TraceParser {
public:
    JsonLinesParser(std::string fileName, OnProblem problemTaker)
        : name(std::move(fileName)), onProblem(std::move(problemTaker))
    {
    }

    void append(char const* bytes, size_t size) override;
    std::optional<TraceRecord> next(bool atEnd) override;

private:
    std::optional<std::string> nextLine(bool atEnd);

    std::string const name;
    OnProblem const onProblem;
    std::string buffer;
    size_t begin = 0; // of the next line
    unsigned number = 0;
};

} // namespace zelobox

#endif
