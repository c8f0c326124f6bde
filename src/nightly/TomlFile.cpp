// SPDX-License-Identifier: Apache-2.0
#include "nightly/TomlFile.h"

#include <fmt/format.h>

#include <toml++/toml.h>
#include <algorithm>
#include <array>
#include <optional>

#include "base/Text.h"
#include "nightly/MorvaneWords.h"
#include "run/Tasks.h"

namespace morvane {

namespace {

// Keys that become options of morvane.
struct TextKey {
    std::string_view Name;
    std::string RunSettings::*Option;
};
constexpr std::array kTextKeys{
    TextKey{"server", &RunSettings::Machine},
    TextKey{"database", &RunSettings::Database},
    TextKey{"user", &RunSettings::UserName},
    TextKey{"archive_server", &RunSettings::ArchiveMachine},
    TextKey{"archive_database", &RunSettings::ArchiveDatabase},
    TextKey{"archive_user", &RunSettings::ArchiveUserName},
    TextKey{"log", &RunSettings::LogDirectory},
};

struct FlagKey {
    std::string_view Name;
    bool RunSettings::*Option;
};
constexpr std::array kFlagKeys{
    FlagKey{"windows_authentication", &RunSettings::NTAuthentication},
    FlagKey{"archive_windows_authentication", &RunSettings::ArchiveNTAuthentication},
};

constexpr std::array kTaskNames{
    FlagKey{"check", &RunSettings::CheckMetaData},
    FlagKey{"archive", &RunSettings::ArchiveFactTables},
    FlagKey{"mark", &RunSettings::DetectAndMark},
    FlagKey{"report", &RunSettings::GenerateReports},
    FlagKey{"delete", &RunSettings::DeleteMarked},
};

// Keys that name files.
struct FileKey {
    std::string_view Name;
    std::string Job::*Member;
};
constexpr std::array kFileKeys{
    FileKey{"password_file", &Job::PasswordFile},
    FileKey{"archive_password_file", &Job::ArchivePasswordFile},
    FileKey{"status_file", &Job::StatusFile},
    FileKey{"result_file", &Job::ResultFile},
};

constexpr std::array<std::string_view, 4> kNeededKeys = {"server", "database", "log", "tasks"};

template <typename Keys>
auto FindKey(const Keys& keys, std::string_view name) {
    const auto found =
        std::ranges::find_if(keys, [&](const auto& key) { return key.Name == name; });
    return found == keys.end() ? nullptr : &*found;
}

class Section {
  public:
    Section(const std::string& path, const toml::key& name, const toml::table& table)
        : path_(path), name_(name), table_(table) {
        job_.Name = name.str();
    }

    Job Read() {
        for (const std::string_view needed : kNeededKeys) {
            if (!table_.contains(needed)) {
                Fail(name_.source(), fmt::format("[{}] has no {}", job_.Name, needed));
            }
        }
        for (const auto& [key, node] : table_) {
            key_ = key.str();
            ReadKey(key, node);
        }
        return std::move(job_);
    }

  private:
    [[noreturn]] void Fail(const toml::source_region& source, const std::string& reason) const {
        throw NotStarted(fmt::format("{}:{}:{}: {}", path_, source.begin.line, source.begin.column,
                                     ToVisible(reason, "")));
    }

    [[noreturn]] void FailType(const toml::node& node, std::string_view type) const {
        Fail(node.source(), key_ + " must be " + std::string(type));
    }

    std::string TextOf(const toml::node& node) const {
        const auto text = node.value_exact<std::string>();
        if (!text) {
            FailType(node, "a string");
        }
        if (Trim(*text).empty()) {
            Fail(node.source(), key_ + " is empty");
        }
        return *text;
    }

    bool FlagOf(const toml::node& node) const {
        const auto flag = node.value_exact<bool>();
        if (!flag) {
            FailType(node, "true or false");
        }
        return *flag;
    }

    void AddOption(std::string_view option) { job_.Words.push_back("-" + std::string(option)); }

    void AddFlag(bool set, std::string_view option) {
        if (set) {
            AddOption(option);
        }
    }

    void ReadKey(const toml::key& key, const toml::node& node) {
        if (const TextKey* text = FindKey(kTextKeys, key_)) {
            const std::string value = TextOf(node);
            if (const std::string fault = WhyNoValue(value); !fault.empty()) {
                Fail(node.source(), key_ + ": " + fault);
            }
            AddOption(OptionName(text->Option));
            job_.Words.push_back(value);
        } else if (const FlagKey* flag = FindKey(kFlagKeys, key_)) {
            AddFlag(FlagOf(node), OptionName(flag->Option));
        } else if (const FileKey* file = FindKey(kFileKeys, key_)) {
            job_.*file->Member = TextOf(node);
        } else if (key_ == "tasks") {
            ReadTasks(node);
        } else if (key_ == "atomic") {
            AddFlag(FlagOf(node), kTasks[TaskIndex(&RunSettings::AtomicDeletion)].Option);
        } else if (!ReadJobOption(node)) {
            Fail(key.source(), "unknown key " + key_);
        }
    }

    void ReadTasks(const toml::node& node) {
        const toml::array* names = node.as_array();
        if (names == nullptr || names->empty()) {
            FailType(node, "a list of tasks");
        }
        for (const toml::node& element : *names) {
            const FlagKey* task = FindKey(kTaskNames, TextOf(element));
            if (task == nullptr) {
                Fail(element.source(),
                     "unknown task " + TextOf(element) +
                         "; the tasks are check, archive, mark, report and delete");
            }
            AddOption(kTasks[TaskIndex(task->Option)].Option);
        }
    }

    // Returns false if the key is not the name of a job option.
    bool ReadJobOption(const toml::node& node) {
        std::string name = key_;
        std::ranges::replace(name, '_', '-');
        const JobOptionKind kind =
            key_.find('-') == std::string::npos ? KindOfJobOption(name) : JobOptionKind::Unknown;
        if (kind == JobOptionKind::Unknown) {
            return false;
        }
        if (kind == JobOptionKind::Flag) {
            if (FlagOf(node)) {
                SetJobOption(job_.Options, name, "");
            }
            return true;
        }
        const auto number = node.value_exact<std::int64_t>();
        const std::string text = number ? std::to_string(*number) : TextOf(node);
        try {
            SetJobOption(job_.Options, name, text);
        } catch (const NotStarted& error) {
            Fail(node.source(), key_ + " " + error.what());
        }
        return true;
    }

    const std::string& path_;
    const toml::key& name_;
    const toml::table& table_;
    std::string key_;
    Job job_;
};

toml::table Parse(std::string_view content, const std::string& path) {
    try {
        return toml::parse(content, path);
    } catch (const toml::parse_error& error) {
        const auto& place = error.source().begin;
        throw NotStarted(fmt::format("{}:{}:{}: {}", path, place.line, place.column,
                                     ToVisible(error.description(), "")));
    }
}

}  // namespace

std::vector<Job> ReadTomlJobs(std::string_view content, const std::string& path) {
    const toml::table file = Parse(content, path);
    struct Placed {
        toml::source_index Line;
        Job Read;
    };
    std::vector<Placed> sections;
    for (const auto& [key, node] : file) {
        const auto& place = key.source().begin;
        const toml::table* table = node.as_table();
        if (table == nullptr) {
            throw NotStarted(fmt::format("{}:{}:{}: {} is outside of a section", path, place.line,
                                         place.column, ToVisible(key.str(), "")));
        }
        sections.push_back({place.line, Section(path, key, *table).Read()});
    }
    std::ranges::sort(sections, {}, &Placed::Line);
    std::vector<Job> jobs;
    jobs.reserve(sections.size());
    for (Placed& section : sections) {
        jobs.push_back(std::move(section.Read));
    }
    return jobs;
}

}  // namespace morvane
