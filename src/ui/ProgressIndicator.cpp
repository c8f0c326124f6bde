// SPDX-License-Identifier: Apache-2.0
#include "ui/ProgressIndicator.h"

#include <QProgressBar>
#include <QVBoxLayout>
#include <algorithm>

#include "ui/Controls.h"
#include "ui/ElidedLabel.h"

namespace morvane {

namespace {

constexpr int kBarSteps = 1000;

}  // namespace

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

    auto* layout = new QVBoxLayout(this);
    // A frame that goes must leave no more than its height.
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
    lblComment_->setText("Task Comments");
    lblPrimaryTable_->clear();
    lblForeignTable_->clear();
    OverallProgFrame_->show();
    DetectProgFrame_->hide();
    minimum_ = value_ = 0;
    maximum_ = 1;
    ShowBar();
}

// What follows a comment can be a long statement: it is painted at once.
void ProgressIndicator::ShowComment(const QString& comment) {
    lblComment_->setText(comment);
    lblComment_->repaint();
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

// Called as often as once a row. The bar itself paints only what differs by a pixel.
void ProgressIndicator::ShowBar() {
    float part = 0;
    if (maximum_ > minimum_ && value_ > minimum_) {
        part = std::min((value_ - minimum_) / (maximum_ - minimum_), 1.0F);
    }
    prgProgress_->setValue(static_cast<int>(part * kBarSteps));
}

}  // namespace morvane
