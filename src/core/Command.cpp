// SPDX-License-Identifier: Apache-2.0
#include "core/Command.h"

#include <algorithm>

#include "base/Text.h"

namespace morvane {

bool SetParameterValue(std::vector<Parameter>& parameters, std::string_view name,
                       const Value& value) {
    const auto found = std::find_if(
        parameters.begin(), parameters.end(),
        [name](const Parameter& parameter) { return EqualsIgnoreCase(parameter.Name, name); });
    if (found == parameters.end()) {
        return false;
    }
    found->Value = value;
    return true;
}

void ImmediateBatch::Add(std::string_view sql, const std::vector<Parameter>& parameters) {
    const std::int64_t rows =
        parameters.empty() ? execute_(sql) : CommandFor(sql, parameters).Execute();
    if (counted_) {
        counted_(added_, rows);
    }
    ++added_;
}

Command& ImmediateBatch::CommandFor(std::string_view sql,
                                    const std::vector<Parameter>& parameters) {
    const auto known = commands_.find(sql);
    if (known != commands_.end()) {
        for (const Parameter& parameter : parameters) {
            known->second->SetParameter(parameter.Name, parameter.Value);
        }
        return *known->second;
    }
    auto command = makeCommand_();
    command->SetText(sql);
    for (const Parameter& parameter : parameters) {
        command->AppendParameter(parameter);
    }
    return *commands_.emplace(std::string(sql), std::move(command)).first->second;
}

}  // namespace morvane
