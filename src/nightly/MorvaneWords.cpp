// SPDX-License-Identifier: Apache-2.0
#include "nightly/MorvaneWords.h"

#include <algorithm>

#include "base/Text.h"
#include "nightly/Job.h"
#include "run/Tasks.h"

namespace morvane {

namespace {

bool IsOptionWord(std::string_view word) {
    return word.starts_with('-') || word.starts_with('/');
}

bool IsPasswordOption(std::string_view name) {
    return EqualsIgnoreCase(name, OptionName(&RunSettings::Password)) ||
           EqualsIgnoreCase(name, OptionName(&RunSettings::ArchivePassword));
}

bool IsDeletion(const Task& task) {
    return task.Flag == &RunSettings::DeleteMarked || task.VariantOf == &RunSettings::DeleteMarked;
}

OptionKind KindOf(std::string_view name) {
    RunSettings settings;
    RunState state;
    return SetOption(name, "", settings, state);
}

// The words without the options of some tasks.
template <typename Condition>
std::vector<std::string> Without(const std::vector<std::string>& words, Condition dropped) {
    std::vector<std::string> kept;
    bool isValue = false;
    for (const std::string& word : words) {
        const std::string_view name = std::string_view(word).substr(word.empty() ? 0 : 1);
        const bool isOption = IsOptionWord(word) && !isValue;
        isValue = isOption && KindOf(name) == OptionKind::TakesValue;
        const bool drop = isOption && std::ranges::any_of(kTasks, [&](const Task& task) {
                              return dropped(task) && EqualsIgnoreCase(task.Option, name);
                          });
        if (!drop) {
            kept.push_back(word);
        }
    }
    return kept;
}

}  // namespace

std::vector<std::string> SplitConfigFile(std::string_view content) {
    constexpr std::string_view kLineEnds = "\r\n";
    constexpr std::string_view kSeparators = " \t\r\n";
    std::vector<std::string> words;
    bool lineStart = true;
    while (!content.empty()) {
        const char c = content.front();
        std::size_t length = 1;
        if (kSeparators.find(c) != std::string_view::npos) {
            lineStart = lineStart || kLineEnds.find(c) != std::string_view::npos;
        } else if (c == '#' && lineStart) {
            length = content.find_first_of(kLineEnds);
        } else if (c == '"') {
            const std::size_t end = content.find('"', 1);
            std::string word(content.substr(1, end == std::string_view::npos ? end : end - 1));
            std::ranges::replace(word, '\r', ' ');
            std::ranges::replace(word, '\n', ' ');
            words.push_back(std::move(word));
            length = end == std::string_view::npos ? end : end + 1;
            lineStart = false;
        } else {
            length = content.find_first_of(" \t\r\n\"");
            words.emplace_back(content.substr(0, length));
            lineStart = false;
        }
        content.remove_prefix(std::min(length, content.size()));
    }
    return words;
}

std::string WhyNoValue(std::string_view value, SlashPaths slashPaths) {
    if (value.starts_with('-') || (value.starts_with('/') && slashPaths == SlashPaths::No)) {
        return "morvane would read the value \"" + std::string(value) + "\" as an option";
    }
    return value.find_first_of("\"\r\n") == std::string_view::npos
               ? ""
               : "morvane cannot read a value with a double quote or a line end";
}

MorvaneWords ReadWords(const std::vector<std::string>& words, SlashPaths slashPaths) {
    MorvaneWords result;
    RunState state;
    for (std::size_t i = 0; i < words.size(); ++i) {
        const std::string& word = words[i];
        if (!IsOptionWord(word)) {
            result.Others.push_back(word);  // morvane ignores it
            continue;
        }
        const std::string_view name = std::string_view(word).substr(1);
        const bool hasNext = i + 1 < words.size();
        const std::string value = hasNext ? words[i + 1] : "";
        if (SetOption(name, value, result.Settings, state) != OptionKind::TakesValue) {
            result.Others.push_back(word);
            continue;
        }
        ++i;
        const std::string fault = hasNext ? WhyNoValue(value, slashPaths) : "it needs a value";
        if (!fault.empty()) {
            // The message must not show a password.
            throw NotStarted(word + ": " +
                             (IsPasswordOption(name) && hasNext
                                  ? "morvane cannot read this password as an option's value; "
                                    "use a password file or the environment"
                                  : fault));
        }
        if (!IsPasswordOption(name)) {
            result.Others.insert(result.Others.end(), {word, value});
        }
    }
    return result;
}

std::vector<std::string> WithoutDeletion(const std::vector<std::string>& words) {
    return Without(words, IsDeletion);
}

std::vector<std::string> DeletionAlone(const std::vector<std::string>& words) {
    return Without(words, [](const Task& task) { return !IsDeletion(task); });
}

}  // namespace morvane
