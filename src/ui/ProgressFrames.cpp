// SPDX-License-Identifier: Apache-2.0
#include "ui/ProgressFrames.h"

#include <QGridLayout>
#include <QLabel>
#include <QPainter>
#include <QProgressBar>
#include <QVBoxLayout>
#include <algorithm>

#include "ui/Controls.h"

namespace morvane {

namespace {

constexpr int kBarSteps = 1000;
constexpr const char* kRunningSuffix = "....";

// A check mark that keeps its place in the layout while it is hidden. It is a label, because screen
// readers treat a plain widget as filler.
class CheckMark : public QLabel {
  public:
    CheckMark(const QString& name, int side, QWidget* parent) : QLabel(parent) {
        setObjectName(name);
        setAccessibleName("Done");
        setFixedSize(side, side);
        QSizePolicy policy = sizePolicy();
        policy.setRetainSizeWhenHidden(true);
        setSizePolicy(policy);
        hide();
    }

  protected:
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.scale(width() / 20.0, height() / 20.0);
        painter.setPen(QPen(QColor(0x2e, 0xa0, 0x43), 2.6, Qt::SolidLine, Qt::RoundCap,
                            Qt::RoundJoin));  // visible on light and dark backgrounds
        painter.drawPolyline(QPolygonF({{4.0, 10.5}, {8.2, 14.7}, {16.0, 5.6}}));
    }
};

}  // namespace

// Screen readers read the state, which the window shows by the check mark and the suffix.
void TaskList::Row::Show(const QString& state, const QString& suffix) const {
    lblTaskName->setText(Name + suffix);
    lblTaskName->setAccessibleName(state.isEmpty() ? Name : Name + ", " + state);
}

TaskList::TaskList(QWidget* parent)
    : QGroupBox("List of Tasks", parent), layout_(new QGridLayout(this)) {
    setObjectName("Frame3");
    layout_->setVerticalSpacing(0);
    layout_->setColumnStretch(1, 1);
    layout_->setAlignment(Qt::AlignTop);
    AddRow();
}

void TaskList::Show(const std::vector<std::string>& names) {
    while (rows_.size() > 1 && rows_.size() > names.size()) {
        RemoveLastRow();
    }
    while (rows_.size() < names.size()) {
        AddRow();
    }
    for (std::size_t k = 0; k < rows_.size(); ++k) {
        Row& row = rows_[k];
        row.Name = k < names.size() ? ToQString(names[k]) : QString();
        row.imgChecked->hide();
        row.Show(k < names.size() ? "not done" : "");
        // Reserves room for the suffix, so that the window does not grow when a task starts.
        row.lblTaskName->setMinimumWidth(
            row.lblTaskName->fontMetrics().horizontalAdvance(row.Name + kRunningSuffix));
    }
}

void TaskList::MarkRunning(std::size_t k) {
    if (k < rows_.size()) {
        rows_[k].Show("running", kRunningSuffix);
        rows_[k].lblTaskName->repaint();
    }
}

void TaskList::MarkCompleted(std::size_t k) {
    if (k < rows_.size()) {
        rows_[k].imgChecked->show();
        rows_[k].Show("done");
        repaint();
    }
}

void TaskList::MarkNoneRunning() {
    for (const Row& row : rows_) {
        if (row.lblTaskName->text() != row.Name) {
            row.Show("not done");
        }
    }
}

void TaskList::AddRow() {
    const int k = static_cast<int>(rows_.size());
    auto* lblTaskName = new ElidedLabel(QString("lblTaskName%1").arg(k), this);
    lblTaskName->setContentsMargins(0, 3, 0, 3);
    auto* imgChecked =
        new CheckMark(QString("imgChecked%1").arg(k), lblTaskName->sizeHint().height(), this);
    layout_->addWidget(imgChecked, k, 0);
    layout_->addWidget(lblTaskName, k, 1);
    lblTaskName->show();
    rows_.push_back({imgChecked, lblTaskName, {}});
}

void TaskList::RemoveLastRow() {
    delete rows_.back().imgChecked;
    delete rows_.back().lblTaskName;
    rows_.pop_back();
}

ProgressIndicator::ProgressIndicator(QWidget* parent)
    : QGroupBox("Progress Indicator", parent),
      OverallProgFrame_(Named("OverallProgFrame", new QFrame(this))),
      DetectProgFrame_(Named("DetectProgFrame", new QGroupBox("Relation being checked", this))),
      lblComment_(new ElidedLabel("lblComment", OverallProgFrame_)),
      lblPrimaryTable_(new ElidedLabel("lblPrimaryTable", DetectProgFrame_)),
      lblForeignTable_(new ElidedLabel("lblForeignTable", DetectProgFrame_)),
      prgProgress_(Named("prgProgress", new QProgressBar(this))) {
    setObjectName("ProgIndFrame");
    auto* overall = new QVBoxLayout(OverallProgFrame_);
    overall->setContentsMargins({});
    overall->addWidget(lblComment_);
    LayOutLines(DetectProgFrame_, {{"Label2", "Primary Table :", lblPrimaryTable_},
                                   {"Label4", "Foreign Table :", lblForeignTable_}});
    prgProgress_->setRange(0, kBarSteps);
    prgProgress_->setTextVisible(false);
    prgProgress_->setAccessibleName("Progress of the current task");

    auto* layout = new QVBoxLayout(this);
    // Hiding a frame must free exactly its height, so the layout has no spacing of its own.
    const int gap = layout->spacing();
    layout->setSpacing(0);
    layout->addWidget(OverallProgFrame_);
    layout->addWidget(DetectProgFrame_);
    layout->addSpacing(gap);
    layout->addWidget(prgProgress_);
    for (QWidget* part : {static_cast<QWidget*>(this), OverallProgFrame_, DetectProgFrame_}) {
        part->setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
    }
    Reset();
}

void ProgressIndicator::Reset() {
    Clear();
    lblComment_->setText("Task Comments");
}

void ProgressIndicator::Clear() {
    cancelling_ = false;
    lblComment_->clear();
    lblPrimaryTable_->clear();
    lblForeignTable_->clear();
    OverallProgFrame_->show();
    DetectProgFrame_->hide();
    minimum_ = value_ = 0;
    maximum_ = 1;
    ShowBar();
}

// Repaints at once, since the next statement can take long.
void ProgressIndicator::ShowComment(const QString& comment) {
    if (!cancelling_) {
        lblComment_->setText(comment);
        lblComment_->repaint();
    }
}

void ProgressIndicator::ShowCancelling() {
    ShowComment("Cancelling...");
    cancelling_ = true;
}

void ProgressIndicator::ShowRelation(const QString& primaryTable, const QString& foreignTable) {
    lblPrimaryTable_->setText(primaryTable);
    lblForeignTable_->setText(foreignTable);
    DetectProgFrame_->repaint();
}

QWidget& ProgressIndicator::Frame(ProgressFrame objFrame) const {
    return *(objFrame == ProgressFrame::OverallProgFrame ? OverallProgFrame_ : DetectProgFrame_);
}

void ProgressIndicator::SetRange(float minimum, float maximum) {
    minimum_ = minimum;
    maximum_ = maximum;
    ShowBar();
}

void ProgressIndicator::SetValue(float value) {
    value_ = value;
    ShowBar();
}

// Called up to once per row. QProgressBar repaints only when the bar changes by a pixel.
void ProgressIndicator::ShowBar() {
    float part = 0;
    if (maximum_ > minimum_ && value_ > minimum_) {
        part = std::min((value_ - minimum_) / (maximum_ - minimum_), 1.0F);
    }
    prgProgress_->setValue(static_cast<int>(part * kBarSteps));
}

}  // namespace morvane
