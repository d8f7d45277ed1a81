/// @file
/// Requests of a page and their answers.
#ifndef ZELO_ZELOBOX_PAGESERVICE_H
#define ZELO_ZELOBOX_PAGESERVICE_H

#include <map>
#include <memory>
#include <string>

#include "zelobox/protocol/Json.h"
#include "zelobox/web/EventStream.h"

namespace zelobox {

struct PageRequest {
    std::string method;
    std::string path;
    std::map<std::string, std::string> query;
    std::string body;
};

struct PageAnswer {
    int status = 200;
    std::string type = "application/json";
    std::string body;
    std::string fileName; ///< to save it under; empty for what is shown
    std::string allowed;  ///< the method that would have been right
};

PageAnswer jsonAnswer(Json const& json);
/// @return {"error":"..."}
PageAnswer errorAnswer(int status, std::string const& problem);

/// @throw InputError unless the request has @p name with a whole number
uint64_t queryNumber(PageRequest const& request, std::string const& name);

/// What a page shows. docs/zelobox.md lists the requests and the events.
class PageService {
public:
    virtual ~PageService() = default;

    /// Does not throw for anything that a request can get wrong.
    virtual PageAnswer answer(PageRequest const& request) = 0;

    /// @param lastEventId  of the last record that the page knows, "INSTANCE-SERIAL"; empty for none
    /// @return a stream that begins with all that the page does not know yet; null when too many are open
    virtual std::shared_ptr<EventStream> openStream(std::string const& lastEventId) = 0;
    virtual void closeStreams() = 0;
};

/// One request of a service: @p Service's member that carries it out.
template <typename Service> struct PageRoute {
    char const* method;
    char const* path;
    PageAnswer (Service::*carryOut)(PageRequest const& request);
};

/// Has the member for the request carried out.
template <typename Service, typename Routes>
PageAnswer answerBy(Routes const& routes, Service& service, PageRequest const& request)
{
    PageAnswer wrong = errorAnswer(404, request.path + " is nothing here; docs/zelobox.md lists what is");
    for (auto const& route : routes) {
        if (request.path == route.path && request.method == route.method) {
            try {
                return (service.*route.carryOut)(request);
            } catch (InputError const& error) {
                return errorAnswer(400, error.what());
            }
        }
        if (request.path == route.path) {
            wrong = errorAnswer(405, request.path + " takes " + route.method + ", not " + request.method);
            wrong.allowed = route.method;
        }
    }
    return wrong;
}

} // namespace zelobox

#endif
