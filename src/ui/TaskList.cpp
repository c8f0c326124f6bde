// SPDX-License-Identifier: Apache-2.0
#include "ui/TaskList.h"

#include <QGridLayout>
#include <QPainter>

#include "ui/Controls.h"
#include "ui/ElidedLabel.h"

namespace morvane {

namespace {

constexpr const char* kRunningSuffix = "....";

// A check mark as high as its widget, which keeps its room while it is hidden.
class CheckMark : public QWidget {
  public:
    CheckMark(const QString& name, int side, QWidget* parent) : QWidget(parent) {
        setObjectName(name);
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
                            Qt::RoundJoin));  // a green that light and dark windows show
        painter.drawPolyline(QPolygonF({{4.0, 10.5}, {8.2, 14.7}, {16.0, 5.6}}));
    }
};

}  // namespace

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
        row.lblTaskName->setText(row.Name);
        // Room for the suffix from the beginning, so that it does not widen the window.
        row.lblTaskName->setMinimumWidth(
            row.lblTaskName->fontMetrics().horizontalAdvance(row.Name + kRunningSuffix));
    }
}

void TaskList::MarkRunning(std::size_t k) {
    if (k < rows_.size()) {
        rows_[k].lblTaskName->setText(rows_[k].Name + kRunningSuffix);
        rows_[k].lblTaskName->repaint();
    }
}

void TaskList::MarkCompleted(std::size_t k) {
    if (k < rows_.size()) {
        rows_[k].lblTaskName->setText(rows_[k].Name);
        rows_[k].imgChecked->show();
        repaint();
    }
}

void TaskList::MarkNoneRunning() {
    for (const Row& row : rows_) {
        row.lblTaskName->setText(row.Name);
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

}  // namespace morvane
