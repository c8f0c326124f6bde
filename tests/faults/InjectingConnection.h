// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <functional>
#include <new>
#include <string>
#include <string_view>
#include <vector>

#include "core/Connection.h"
#include "sql/MaskPasswords.h"

namespace morvane::testing {

enum class Fault {
    None,
    Refused,      // the statement fails before it does anything
    AnswerLost,   // it takes effect, and then fails; only for what changes something
    ServerLost,   // the same, and from then on nothing succeeds on any connection
    OutOfMemory,  // as ServerLost, but each request fails for want of memory in this process
    Killed        // the process dies just before it
};

// What an injected error says to the user.
constexpr std::string_view FaultText(Fault fault) {
    return fault == Fault::OutOfMemory ? "There is not enough memory." : "The injected fault";
}

// Something that a run asks of a server: a statement, a question to the catalogue, a row of a
// streamed result, a connection.
struct FaultPoint {
    std::string Stage;
    std::string Statement;
    bool Changes = false;
};

// Counts the points of a run and lets the fault happen at one of them, from 0. Without a fault it
// writes down what the run passes.
class FaultPlan {
  public:
    explicit FaultPlan(Fault fault = Fault::None, std::size_t at = 0) : fault_(fault), at_(at) {}

    std::function<std::string()> Stage;  // what the run is at
    std::vector<FaultPoint> Points;
    bool Happened() const { return happened_; }

    // Passes a point: does what is asked, or lets the fault happen.
    template <typename Operation>
    auto Pass(std::string_view statement, bool changes, Operation&& operation) {
        const Verdict verdict = Judge(statement, changes);
        if (verdict == Verdict::LoseAnswer) {
            operation();
        }
        if (verdict != Verdict::Perform) {
            if (fault_ == Fault::OutOfMemory) {
                throw std::bad_alloc();
            }
            throw DatabaseError({std::string(FaultText(fault_))}, MaskPasswords(statement));
        }
        return operation();
    }

  private:
    enum class Verdict { Perform, Refuse, LoseAnswer };
    Verdict Judge(std::string_view statement, bool changes);

    Fault fault_;
    std::size_t at_;
    std::size_t passed_ = 0;
    bool happened_ = false;
};

// Connections of the program's own, whose every request passes a point of the plan, which must
// outlive them.
ConnectionFactory InjectFaults(FaultPlan& plan);

}  // namespace morvane::testing
