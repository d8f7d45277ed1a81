/// @file
/// In place of WebPage.cpp where the HTTP library is not there.
#include "zelobox/web/WebPage.h"

#include "zelobox/protocol/Json.h"

namespace zelobox {

class WebPage::Impl {};

namespace {

[[noreturn]] void refuse()
{
    throw InputError("this zelobox was built without its page, for want of cpp-httplib");
}

} // namespace

WebPage::WebPage(EventLoop&, Middleware&, uint16_t, std::string const&)
{
    refuse();
}

WebPage::WebPage(EventLoop&, std::vector<TraceRecord>, uint16_t, std::string const&)
{
    refuse();
}

WebPage::~WebPage() = default;

void WebPage::onCallback(pid_t, Json const&) {}

std::string WebPage::address() const
{
    return "";
}

} // namespace zelobox
