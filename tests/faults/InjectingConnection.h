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
    Refused,      // the statement fails without effect
    AnswerLost,   // it takes effect and then fails; for statements that change something
    ServerLost,   // as AnswerLost, and every later request on any connection fails
    OutOfMemory,  // as ServerLost, but with std::bad_alloc
    Killed        // the process is killed just before the statement
};

// The message of an injected error.
constexpr std::string_view FaultText(Fault fault) {
    return fault == Fault::OutOfMemory ? "There is not enough memory." : "The injected fault";
}

// A request to a server: a statement, a catalogue query, a row of a streamed result, a login.
struct FaultPoint {
    std::string Stage;
    std::string Statement;
    bool Changes = false;
};

// Counts the fault points of a run and injects the fault at one of them (from 0). Without a fault
// it records the points.
class FaultPlan {
  public:
    explicit FaultPlan(Fault fault = Fault::None, std::size_t at = 0) : fault_(fault), at_(at) {}

    std::function<std::string()> Stage;  // what the run is doing
    std::vector<FaultPoint> Points;
    bool Happened() const { return happened_; }
    bool Kills() const { return fault_ == Fault::Killed; }

    // Performs the operation, or injects the fault if this is its point.
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

// Creates the program's own connections with every request a point of the plan. The plan must
// outlive them.
ConnectionFactory InjectFaults(FaultPlan& plan);

}  // namespace morvane::testing
