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

// Finds a control by its object name. Throws if there is none of this type.
template <typename Control>
Control& Find(const QWidget& window, const char* name) {
    auto* control = window.findChild<Control*>(QString::fromLatin1(name));
    if (control == nullptr) {
        throw std::runtime_error(std::string("no control ") + name);
    }
    return *control;
}

// The prompt of the application object.
ScriptedPrompt& ApplicationPrompt();

void ShowActive(QWidget& window);

// Clicks a control. Throws if it is hidden or disabled.
void Click(const QWidget& window, const char* name);
// Replaces the text of a text box, by keys.
void Type(const QWidget& window, const char* name, const QString& text);
// Presses Alt and the letter. A button reacts asynchronously.
void PressAccessKey(QWidget& window, char letter);

// Calls `act` with the next modal window once it is open.
void WhenModalOpens(std::function<void(QWidget&)> act);

// Takes answers from a list and acts as cancelled when it is empty.
class ScriptedBrowsing : public Browsing {
  public:
    std::deque<QString> Answers;
    std::vector<std::string> Asked;  // "title|start folder" or "title|entered server"
    bool Fails = false;              // throws std::bad_alloc

    QString BrowseForFolder(QWidget*, const QString& title, const QString& startFolder) override {
        return Ask(title.toStdString() + "|" + startFolder.toStdString());
    }
    QString BrowseForComputer(const QString& title, QWidget*, const QString& entered) override {
        return Ask(title.toStdString() + "|" + entered.toStdString());
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

// A warehouse and the services that windows need.
struct UiFixture : public ::testing::Test, public TestServices {
    TestWarehouse Warehouse;
    TempFolder Files;
    ScriptedBrowsing Browse;
    RunState State;
};

}  // namespace morvane::testing
