// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "core/Connection.h"

namespace morvane {

// Executes each statement as it is added, one with parameters by a command that is made once for
// its text. The two functions are the engine's; they throw once the connection is closed or gone.
class ImmediateBatch : public StatementBatch {
  public:
    using ExecuteText = std::function<std::int64_t(std::string_view sql)>;
    using MakeCommand = std::function<std::unique_ptr<Command>()>;

    ImmediateBatch(ExecuteText execute, MakeCommand makeCommand, RowCountSink counted)
        : execute_(std::move(execute)),
          makeCommand_(std::move(makeCommand)),
          counted_(std::move(counted)) {}

    void Add(std::string_view sql, const std::vector<Parameter>& parameters) override;
    void Finish() override {}

  private:
    Command& CommandFor(std::string_view sql, const std::vector<Parameter>& parameters);

    ExecuteText execute_;
    MakeCommand makeCommand_;
    RowCountSink counted_;
    std::size_t added_ = 0;
    std::map<std::string, std::unique_ptr<Command>, std::less<>> commands_;
};

}  // namespace morvane
