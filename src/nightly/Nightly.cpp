// SPDX-License-Identifier: Apache-2.0
#include "nightly/Nightly.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <memory>
#include <string_view>

#include "base/PrivateFile.h"
#include "base/Text.h"
#include "base/Version.h"
#include "base/modFileFunctions.h"
#include "core/ErrorTrap.h"
#include "nightly/TomlFile.h"
#include "run/CancelSignals.h"
#include "run/Console.h"
#include "run/ResultFile.h"

namespace morvane {

namespace {

constexpr std::string_view kUsage =
    "Usage: morvane-nightly <configfile> <statusfile> [options] [options of morvane]\n"
    "       morvane-nightly --config <file.toml> <section>... | --all [options]\n"
    "\n"
    "Runs morvane, which must be in the same folder, for one or more warehouses.\n"
    "\n"
    "  --max-delete <number>|<n>%  delete nothing if more rows of a dimension are marked\n"
    "  --check-references          delete nothing if a marked element is referred to\n"
    "  --until HH:MM[:SS]          cancel the run at this time\n"
    "  --keep <days>               delete older logs and reports after the run\n"
    "  --on-result <command>       run the command with the name of the result file\n"
    "  --metrics <file>            write metrics for Prometheus\n"
    "  --help, --version\n"
    "\n"
    "Exit codes: 0 done, 1 not done, 2 not started.\n";

#ifdef _WIN32
constexpr std::string_view kMorvane = "morvane.exe";
#else
constexpr std::string_view kMorvane = "morvane";
#endif

// "--name" or "--name=value".
class LongOption {
  public:
    explicit LongOption(const std::string& word)
        : name_(word.substr(2, std::min(word.find('='), word.size()) - 2)) {
        if (const std::size_t equals = word.find('='); equals != std::string::npos) {
            value_ = word.substr(equals + 1);
        }
    }

    const std::string& Name() const { return name_; }

    // The value, which may be the next word.
    std::string Value(const std::vector<std::string>& words, std::size_t& position) const {
        if (value_) {
            return *value_;
        }
        if (position + 1 == words.size()) {
            throw NotStarted("--" + name_ + " needs a value");
        }
        return words[++position];
    }

    void RequireFlag() const {
        if (value_) {
            throw NotStarted("--" + name_ + " takes no value");
        }
    }

  private:
    std::string name_;
    std::optional<std::string> value_;
};

void ReadLongOption(const LongOption& option, const std::vector<std::string>& words,
                    std::size_t& position, NightlyCommand& command) {
    const std::string& name = option.Name();
    if (name == "config") {
        command.TomlFile = option.Value(words, position);
        return;
    }
    const JobOptionKind kind = KindOfJobOption(name);
    if (kind == JobOptionKind::TakesValue) {
        const std::string value = option.Value(words, position);
        try {
            SetJobOption(command.Options, name, value);
        } catch (const NotStarted& error) {
            throw NotStarted("--" + name + " " + error.what());
        }
        return;
    }
    option.RequireFlag();
    if (kind == JobOptionKind::Flag) {
        SetJobOption(command.Options, name, "");
    } else if (name == "help") {
        command.Help = true;
    } else if (name == "version") {
        command.Version = true;
    } else if (name == "all") {
        command.All = true;
    } else {
        throw NotStarted("unknown option --" + name);
    }
}

Job OneLineJob(const NightlyCommand& command, std::ostream& errors) {
    const std::string& file = command.Words[0];
    Job job;
    job.Words = SplitConfigFile(ReadWholeFile(file));
    const RunSettings settings = ReadWords(job.Words).Settings;
    if (!(settings.Password + settings.ArchivePassword).empty() && OthersMayRead(file)) {
        WriteConsoleText(errors,
                         "morvane-nightly: warning: others can read the passwords in " + file);
    }
    job.StatusFile = command.Words[1];
    // If an option is given twice, the last one counts.
    job.Words.insert(job.Words.end(), command.Words.begin() + 2, command.Words.end());
    return job;
}

std::vector<Job> TomlJobs(const NightlyCommand& command) {
    std::vector<Job> sections = ReadTomlJobs(ReadWholeFile(command.TomlFile), command.TomlFile);
    if (command.All) {
        if (sections.empty()) {
            throw NotStarted(command.TomlFile + " has no section");
        }
        return sections;
    }
    std::vector<Job> jobs;
    for (const std::string& name : command.Words) {
        const auto found = std::ranges::find(sections, name, &Job::Name);
        if (found == sections.end()) {
            throw NotStarted(command.TomlFile + " has no section [" + name + "]");
        }
        jobs.push_back(*found);
    }
    return jobs;
}

std::vector<Job> ChooseJobs(const NightlyCommand& command, const NightlyServices& services) {
    std::vector<Job> jobs = command.TomlFile.empty()
                                ? std::vector<Job>{OneLineJob(command, services.Errors)}
                                : TomlJobs(command);
    for (Job& job : jobs) {
        job.Options = Override(job.Options, command.Options);
    }
    if (jobs.size() == 1 && jobs.front().ResultFile.empty()) {
        jobs.front().ResultFile = services.Environment.ResultFile;
    }
    return jobs;
}

std::string FindMorvane() {
    std::string path = ProgramFolder() + kPathSeparator + std::string(kMorvane);
    std::error_code error;
    if (!std::filesystem::is_regular_file(ToPath(path), error)) {
        throw NotStarted("there is no " + path);
    }
    return path;
}

// Checks all jobs before the first one runs.
std::vector<std::unique_ptr<JobRun>> Prepare(const std::vector<Job>& jobs,
                                             const JobServices& services) {
    std::vector<std::unique_ptr<JobRun>> runs;
    for (const Job& job : jobs) {
        try {
            runs.push_back(std::make_unique<JobRun>(job, services));
        } catch (const std::exception& error) {
            throw NotStarted((job.Name.empty() ? "" : job.Name + ": ") + Describe(error));
        }
    }
    return runs;
}

// Warehouses that name the same file share it.
void WriteMetrics(const std::vector<std::unique_ptr<JobRun>>& runs) {
    std::map<std::string, std::vector<JobMetrics>> files;
    for (const auto& run : runs) {
        if (!run->MetricsFile().empty() && run->Metrics()) {
            files[run->MetricsFile()].push_back(*run->Metrics());
        }
    }
    for (const auto& [path, metrics] : files) {
        try {
            ReplaceFile(path, MetricsText(metrics));
        } catch (const std::exception& error) {
            runs.front()->Say("warning: " + Describe(error));
        }
    }
}

NightlyExit PerformAll(const std::vector<std::unique_ptr<JobRun>>& runs) {
    NightlyExit worst = NightlyExit::Done;
    for (const auto& run : runs) {
        NightlyExit exit = NightlyExit::NotStarted;
        try {
            exit = run->Perform();
        } catch (const std::exception& error) {
            run->Say(Describe(error));
        }
        worst = std::max(worst, exit);
    }
    WriteMetrics(runs);
    return worst;
}

}  // namespace

NightlyCommand ParseNightlyCommand(const std::vector<std::string>& words) {
    NightlyCommand command;
    for (std::size_t i = 0; i < words.size(); ++i) {
        if (words[i].starts_with("--")) {
            ReadLongOption(LongOption(words[i]), words, i, command);
        } else if (words[i] == "-h") {
            command.Help = true;
        } else {
            command.Words.push_back(words[i]);
        }
    }
    if (command.Help || command.Version) {
        return command;
    }
    const bool toml = !command.TomlFile.empty();
    if (toml && command.All != command.Words.empty()) {
        throw NotStarted(command.All ? "--all and sections exclude each other"
                                     : "no section is given; see --help");
    }
    if (!toml && (command.All || command.Words.size() < 2)) {
        throw NotStarted("a configuration file and a status file are needed; see --help");
    }
    const std::size_t operands = toml ? command.Words.size() : 2;
    for (std::size_t i = 0; i < operands; ++i) {
        if (command.Words[i].starts_with('-')) {
            throw NotStarted("unknown option " + command.Words[i]);
        }
    }
    return command;
}

NightlyExit Nightly(const std::vector<std::string>& words, const NightlyServices& services) {
    try {
        const NightlyCommand command = ParseNightlyCommand(words);
        if (command.Help || command.Version) {
            services.Output << (command.Help ? std::string(kUsage)
                                             : fmt::format("morvane-nightly {}\n", kVersion));
            return NightlyExit::Done;
        }
        Morvane morvane(FindMorvane(), services.Clock);
        const JobServices jobServices{.Morvane = morvane,
                                      .Environment = services.Environment,
                                      .Clock = services.Clock,
                                      .Errors = services.Errors};
        return PerformAll(Prepare(ChooseJobs(command, services), jobServices));
    } catch (const std::exception& error) {
        WriteConsoleText(services.Errors, "morvane-nightly: " + Describe(error));
        return NightlyExit::NotStarted;
    }
}

}  // namespace morvane
