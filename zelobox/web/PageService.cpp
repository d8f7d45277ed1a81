#include "zelobox/web/PageService.h"

namespace zelobox {

PageAnswer jsonAnswer(Json const& json)
{
    PageAnswer answer;
    answer.body = lineOf(json) + "\n";
    return answer;
}

PageAnswer errorAnswer(int status, std::string const& problem)
{
    PageAnswer answer = jsonAnswer({{"error", problem}});
    answer.status = status;
    return answer;
}

uint64_t queryNumber(PageRequest const& request, std::string const& name)
{
    auto const found = request.query.find(name);
    std::string const text = found != request.query.end() ? found->second : "";
    if (text.empty() || text.size() > 18 || text.find_first_not_of("0123456789") != std::string::npos) {
        throw InputError(name + ": expected a whole number, found \"" + text + "\"");
    }
    return std::stoull(text);
}

} // namespace zelobox
