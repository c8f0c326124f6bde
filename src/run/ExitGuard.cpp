// SPDX-License-Identifier: Apache-2.0
#include "run/ExitGuard.h"

#include <algorithm>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <utility>
#include <vector>

namespace morvane {

namespace {

std::vector<std::function<void()>*> pending;
bool exitUnderWay = false;

void DoPendingWork() {
    if (pending.empty()) {
        return;
    }
    exitUnderWay = true;
    while (!pending.empty()) {
        const std::function<void()>& work = *pending.back();
        pending.pop_back();
        try {
            work();
        } catch (const std::exception&) {
            // The remaining guards may still succeed.
        }
    }
    std::cout.flush();
    std::cerr.flush();
    std::_Exit(0);
}

// Thread-local objects are destroyed before all static objects, including those of libraries that
// the work needs. An atexit() handler would run after some of them are destroyed.
struct WorkAtExit {
    ~WorkAtExit() { DoPendingWork(); }
};

}  // namespace

ExitGuard::ExitGuard(std::function<void()> work) : work_(std::move(work)) {
    [[maybe_unused]] thread_local const WorkAtExit workAtExit;
    pending.push_back(&work_);
}

ExitGuard::~ExitGuard() {
    pending.erase(std::remove(pending.begin(), pending.end(), &work_), pending.end());
}

void ExitGuard::ExitInOrder() {
    DoPendingWork();
}

bool ExitGuard::ExitUnderWay() {
    return exitUnderWay;
}

}  // namespace morvane
