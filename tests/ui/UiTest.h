// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtest/gtest.h>

#include <QString>
#include <QTest>
#include <QWidget>
#include <deque>
#include <functional>
#include <new>
#include <string>
#include <vector>

#include "support/RunFixture.h"
#include "ui/modBrowsing.h"

namespace morvane::testing {

// The control of a window with an object name. Fails the test when there is none of the kind.
template <typename Control>
Control& Find(const QWidget& window, const char* name) {
    auto* control = window.findChild<Control*>(QString::fromLatin1(name));
    if (control == nullptr) {
        throw std::runtime_error(std::string("no control ") + name);
    }
    return *control;
}

// Where the application itself shows messages.
ScriptedPrompt& ApplicationPrompt();

void ShowActive(QWidget& window);

// What a user does, who can only use what is visible and enabled.
void Click(const QWidget& window, const char* name);
// Types a text in place of what a text box holds.
void Type(const QWidget& window, const char* name, const QString& text);
// Alt and the letter. A button acts a moment later: wait for what it does.
void PressAccessKey(QWidget& window, char letter);

// Runs `act` as soon as a modal window is open, which it gets.
void WhenModalOpens(std::function<void(QWidget&)> act);

// Browsing dialogs that answer from a list, and are cancelled when it is empty.
class ScriptedBrowsing : public Browsing {
  public:
    std::deque<QString> Answers;
    std::vector<std::string> Asked;  // "title" or "title|start folder"
    bool Fails = false;              // for want of memory

    QString BrowseForFolder(QWidget*, const QString& title, const QString& startFolder) override {
        return Ask(title.toStdString() + "|" + startFolder.toStdString());
    }
    QString BrowseForComputer(const QString& title, QWidget*) override {
        return Ask(title.toStdString());
    }

  private:
    QString Ask(const std::string& question) {
        if (Fails) {
            throw std::bad_alloc();
        }
        Asked.push_back(question);
        if (Answers.empty()) {
            return {};
        }
        QString answer = Answers.front();
        Answers.pop_front();
        return answer;
    }
};

// A warehouse and everything that a window needs besides.
struct UiFixture : public ::testing::Test, public TestServices {
    TestWarehouse Warehouse;
    TempFolder Files;
    ScriptedBrowsing Browse;
    RunState State;
};

}  // namespace morvane::testing
