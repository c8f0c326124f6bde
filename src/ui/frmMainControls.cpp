// SPDX-License-Identifier: Apache-2.0
// The controls of the settings window and their places.

#include <QGridLayout>
#include <QHBoxLayout>
#include <QStyle>
#include <QVBoxLayout>

#include "base/Version.h"
#include "ui/ScrollPanel.h"
#include "ui/frmMain.h"

namespace morvane {

namespace {

constexpr ConnectionCaptions kConnectionCaptions{
    "&Server:",
    "Select the server where the Data Warehouse resides",
    "Browse to the server where the Data Warehouse resides",
    "Use Windows N&T Authentication",
    "Use S&QL Login",
    "Pass&word:",
    "D&atabase:",
};

QPushButton* MakeButton(const char* name, const char* caption, const char* tip, QWidget* parent) {
    auto* button = Named(name, new PushButton(QString::fromUtf8(caption), parent));
    button->setToolTip(ToolTipText(QString::fromUtf8(tip)));
    return button;
}

}  // namespace

void frmMain::MakeControls() {
    setObjectName("frmMain");
    setWindowTitle("Morvane");
    setToolTip(QString("Morvane ") + kVersion);
    setWindowFlags(Qt::Window);
    fields_ = new ConnectionFields(kConnectionCaptions, this);
    auto* settings = new QWidget(this);
    auto* parts = new QVBoxLayout(settings);
    parts->setContentsMargins({});
    parts->addWidget(fields_);
    parts->addWidget(MakeOptions());
    parts->addWidget(MakeLogFile());
    parts->addStretch(1);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(new ScrollPanel(settings, this), 1);
    layout->addWidget(MakeButtons());
    const int wide = fontMetrics().averageCharWidth() * 90;
    ResizeOnScreen(*this, {std::max(wide, sizeHint().width()), sizeHint().height()});
}

QWidget* frmMain::MakeOptions() {
    auto* frame = Named("fraOptions", new QGroupBox("Options", this));
    auto* layout = new QGridLayout(frame);
    for (std::size_t i = 0; i < kTasks.size(); ++i) {
        chkOptions_[i] = new QCheckBox(ToQString(kTasks[i].Caption), frame);
        chkOptions_[i]->setObjectName("chkOptions" + QString::number(i));
        chkOptions_[i]->setToolTip(ToolTipText(ToQString(kTasks[i].ToolTip)));
    }
    cmdFacts_ = MakeButton("cmdFacts", "Set &Fact Table Conditions...",
                           "Click this button to indicate the conditions for the fact table "
                           "elements to be archived and the place of the archive database.",
                           frame);
    cmdDimensions_ = MakeButton("cmdDimensions", "Set &Dimension Checks...",
                                "Set tables and elements to be checked", frame);
    const auto rowOf = [](bool RunSettings::*task) { return static_cast<int>(TaskIndex(task)); };
    layout->addWidget(cmdFacts_, rowOf(&RunSettings::ArchiveFactTables), 2);
    layout->addWidget(cmdDimensions_, rowOf(&RunSettings::DetectAndMark), 2);
    setTabOrder(&CheckBox(&RunSettings::ArchiveFactTables), cmdFacts_);
    setTabOrder(&CheckBox(&RunSettings::DetectAndMark), cmdDimensions_);
    for (const Task& task : kTasks) {
        const int row = rowOf(task.Flag);
        const int columns = layout->itemAtPosition(row, 2) != nullptr ? 2 : 3;
        if (task.VariantOf == nullptr) {
            layout->addWidget(&CheckBox(task.Flag), row, 0, 1, columns);
            continue;
        }
        auto* indented = new QHBoxLayout;  // below its task
        indented->addSpacing(style()->pixelMetric(QStyle::PM_IndicatorWidth) +
                             style()->pixelMetric(QStyle::PM_CheckBoxLabelSpacing));
        indented->addWidget(&CheckBox(task.Flag), 1);
        layout->addLayout(indented, row, 0, 1, columns);
    }
    // Rows with and without a button have the same height.
    for (int row = 0; row < layout->rowCount(); ++row) {
        layout->setRowMinimumHeight(row, cmdFacts_->sizeHint().height());
    }
    layout->setVerticalSpacing(4);
    layout->setColumnStretch(1, 1);
    return frame;
}

QWidget* frmMain::MakeLogFile() {
    auto* frame = Named("fraLogFile", new QGroupBox("Reports and Log File Location", this));
    constexpr const char* kTip =
        "Fill in the location on the file system where the Morvane log file and the generated "
        "reports are stored.";
    txtLogFile_ = Named("txtLogFile", new QLineEdit(frame));
    txtLogFile_->setToolTip(ToolTipText(kTip));
    cmdLogFile_ = MakeButton("cmdLogFile", "Br&owse...",
                             "Browse to the location on the file system where the Morvane log file "
                             "and the generated reports are stored.",
                             frame);
    auto* layout = new QHBoxLayout(frame);
    layout->addWidget(MakeLabel("lblLogFile", "&Location:", txtLogFile_, frame));
    layout->addWidget(txtLogFile_, 1);
    layout->addWidget(cmdLogFile_);
    return frame;
}

QWidget* frmMain::MakeButtons() {
    auto* row = new QWidget(this);
    cmdProcess_ = MakeButton("cmdProcess", "&Process", "Start the process.", row);
    cmdClose_ = MakeButton("cmdClose", "&Close", "Close the window.", row);
    if (state_.ConfigMode) {
        cmdProcess_->setText("Sa&ve Settings");
        cmdProcess_->setToolTip("Save the settings for a latter run of the tool");
        cmdClose_->setText("&Cancel");
    }
    cmdProcess_->setDefault(true);
    auto* layout = new QHBoxLayout(row);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addStretch(1);
    layout->addWidget(cmdProcess_);
    layout->addWidget(cmdClose_);
    return row;
}

}  // namespace morvane
