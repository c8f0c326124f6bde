// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <memory>
#include <vector>

#include "contract/LoopbackService.h"

namespace morvane::testing {

// Stands between a driver and a live server, passes the bytes of both and, at the client's packet
// for which the trigger says so, loses the server in one of several ways.
class LoopbackProxy : public LoopbackService {
  public:
    enum class Fault {
        CutRequest,  // the packet never arrives; all connections are gone and no new one is served
        CutAnswer,   // the packet arrives, the first half of the answer too, then the same
        CutConnection,   // the packet never arrives and its connection is gone; others go on
        Stall,           // nothing passes any more; all connections stay
        Corrupt,         // the answers' contents are changed, their packets' headers are not
        CorruptHeaders,  // everything in the answers is changed
    };
    // Sees each packet of a client, in the proxy's thread.
    using Trigger = std::function<bool(std::string_view packet)>;

    // To "host,port". Throws std::invalid_argument for another form.
    LoopbackProxy(const std::string& target, Fault fault, Trigger trigger);
    ~LoopbackProxy() override;

    bool Fired() const { return fired_; }

  private:
    struct Link;

    void Serve();
    void Accept();
    // False when the connection is at its end.
    bool FromClient(Link& link);
    bool FromServer(Link& link);

    std::string host_;
    int targetPort_ = 0;
    Fault fault_;
    Trigger trigger_;
    std::atomic<bool> fired_ = false;
    bool lost_ = false;
    std::vector<std::unique_ptr<Link>> links_;
};

// True for a packet that holds the text as the protocol writes it, two bytes a character.
LoopbackProxy::Trigger SendsText(std::string_view ascii);
// True for the commit of a transaction in which the text was sent.
LoopbackProxy::Trigger CommitsAfter(std::string_view ascii);
// True for the login number `number`, from 1.
LoopbackProxy::Trigger LogsIn(int number);

}  // namespace morvane::testing
