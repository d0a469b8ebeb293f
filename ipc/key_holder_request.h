// Key holders of fast transition, handed to the network daemon VAP by VAP in one request.
#pragma once

#include "ipc/ctree_ptr.h"
#include "ipc/ipc_helper.h"

namespace ravd {

class key_holder_request {
  public:
    // `requests` outlives it.
    explicit key_holder_request(ipc_helper& requests) : requests_(requests) {}

    // Begins a request; one that was begun and never sent is dropped.
    void begin();
    // Adds the settings of a VAP, as JSON text. Nothing happens before a begin.
    void add(const char* vap_name, const char* text);
    // Sends it. 0 for any answer, -1 for none.
    int finish();
    // Has the key holders of all VAPs dropped, for the reason codes 0 and 2; others do nothing. Result as above.
    int reset(int reason);

  private:
    ipc_helper& requests_;
    ctree_ptr fbt_request_;
};

}  // namespace ravd
