// What the link tells who asks how the daemon is.

#include "link/websock_worker.h"
#include "message/status_page.h"

namespace ravd {

std::string websock_worker::describe_status() {
    status_page page;
    page.open("link");
    page.text("host", target_.host);
    page.number("port", target_.port);
    page.text("path", target_.path);
    page.text("address", address_);
    page.flag("tls", target_.tls.enabled);
    if (target_.tls.enabled) page.text("tls_certificate_end", connection_.certificate_end());
    record_.describe(now_s(), page);
    page.text("last_failure", outage_.last_reason());
    page.flag("left_for_good", life_.unlinked);
    page.open("counted");
    record_.describe_counts(page);
    page.number("sent_messages", static_cast<std::int64_t>(outgoing_.sent_messages()));
    page.number("sent_bytes", static_cast<std::int64_t>(outgoing_.sent_bytes()));
    page.close();
    page.close();
    return page.take();
}

}  // namespace ravd
