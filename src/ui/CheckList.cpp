// SPDX-License-Identifier: Apache-2.0
#include "ui/CheckList.h"

#include <QHeaderView>
#include <QKeyEvent>
#include <QStyledItemDelegate>
#include <algorithm>
#include <limits>

#include "core/ErrorTrap.h"
#include "ui/Controls.h"

namespace morvane {

namespace {

constexpr int kRowsToFit = 100;
constexpr int kWidestColumn = 40;  // characters
constexpr int kRowPadding = 6;

// Adds space between the rows.
class RowDelegate : public QStyledItemDelegate {
  public:
    using QStyledItemDelegate::QStyledItemDelegate;
    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override {
        return QStyledItemDelegate::sizeHint(option, index) + QSize(kRowPadding, kRowPadding);
    }
};

}  // namespace

void CheckList::Show(UpdatableRows rows) {
    beginResetModel();
    rows_.emplace(std::move(rows));
    headers_.clear();
    for (std::size_t column = 0; column < rows_->ColumnCount(); ++column) {
        headers_.append(ToQString(rows_->ColumnName(column)));
    }
    if (headers_.isEmpty()) {
        headers_.append("");  // the check boxes need a column
    }
    endResetModel();
}

void CheckList::ShowHeaders(const QStringList& headers) {
    beginResetModel();
    rows_.reset();
    headers_ = headers;
    endResetModel();
}

void CheckList::CheckAll(bool checked) {
    if (rowCount() == 0) {
        return;
    }
    for (std::size_t row = 0; row < rows_->Count(); ++row) {
        rows_->SetChecked(row, checked);
    }
    emit dataChanged(index(0, 0), index(rowCount() - 1, 0), {Qt::CheckStateRole});
}

void CheckList::Check(const QModelIndexList& rows, bool checked) {
    for (const QModelIndex& row : rows) {
        rows_->SetChecked(static_cast<std::size_t>(row.row()), checked);
    }
    emit dataChanged(index(0, 0), index(rowCount() - 1, 0), {Qt::CheckStateRole});
}

QStringList CheckList::CheckedTexts() const {
    QStringList texts;
    for (int row = 0; row < rowCount(); ++row) {
        if (rows_->Checked(static_cast<std::size_t>(row))) {
            texts.append(Read(index(row, 0), Qt::DisplayRole).toString());
        }
    }
    return texts;
}

int CheckList::rowCount(const QModelIndex& parent) const {
    constexpr std::size_t kMost = std::numeric_limits<int>::max();
    return parent.isValid() || !rows_ ? 0 : static_cast<int>(std::min(rows_->Count(), kMost));
}

int CheckList::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(headers_.size());
}

// Called while the list is painted, where no message box can be opened. An error appears as the
// cell's text.
QVariant CheckList::data(const QModelIndex& index, int role) const {
    if (!index.isValid() || !rows_) {
        return {};
    }
    try {
        return Read(index, role);
    } catch (const std::exception& error) {
        return role == Qt::DisplayRole ? QVariant(ToQString(Describe(error))) : QVariant();
    }
}

QVariant CheckList::Read(const QModelIndex& index, int role) const {
    const auto row = static_cast<std::size_t>(index.row());
    const auto column = static_cast<std::size_t>(index.column());
    if (column < rows_->ColumnCount()) {
        switch (role) {
            case Qt::DisplayRole:
                return ToQString(rows_->Cell(row, column));
            case Qt::ToolTipRole:  // shows text that does not fit its column
                return ToolTipText(ToQString(rows_->Cell(row, column)));
            case Qt::TextAlignmentRole:
                return Alignment(index.column());
            default:
                break;
        }
    }
    if (role == Qt::CheckStateRole && column == 0) {
        return rows_->Checked(row) ? Qt::Checked : Qt::Unchecked;
    }
    return {};
}

bool CheckList::setData(const QModelIndex& index, const QVariant& value, int role) {
    if (!index.isValid() || !rows_ || index.column() != 0 || role != Qt::CheckStateRole) {
        return false;
    }
    rows_->SetChecked(static_cast<std::size_t>(index.row()), value.toInt() == Qt::Checked);
    emit dataChanged(index, index, {Qt::CheckStateRole});
    return true;
}

// Numbers are aligned at their last digit.
QVariant CheckList::Alignment(int column) const {
    const auto position = static_cast<std::size_t>(column);
    const bool number = rows_ && position < rows_->ColumnCount() && rows_->IsNumeric(position);
    return QVariant((number ? Qt::AlignRight : Qt::AlignLeft) | Qt::AlignVCenter);
}

QVariant CheckList::headerData(int section, Qt::Orientation orientation, int role) const {
    if (orientation == Qt::Horizontal && role == Qt::TextAlignmentRole) {
        return Alignment(section);
    }
    return orientation == Qt::Horizontal && role == Qt::DisplayRole ? headers_.value(section)
                                                                    : QVariant();
}

bool CheckList::setHeaderData(int section, Qt::Orientation orientation, const QVariant& value,
                              int role) {
    if (orientation != Qt::Horizontal || role != Qt::EditRole || section >= headers_.size()) {
        return false;
    }
    headers_[section] = value.toString();
    emit headerDataChanged(orientation, section, section);
    return true;
}

Qt::ItemFlags CheckList::flags(const QModelIndex& index) const {
    const Qt::ItemFlags row = Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemNeverHasChildren;
    return index.column() == 0 ? row | Qt::ItemIsUserCheckable : row;
}

void OpenRecordsetIntoList(CheckList& list, Connection& connection, UpdatableQuery query) {
    list.Show(UpdatableRows(connection, std::move(query)));
}

CheckListView::CheckListView(QWidget* parent) : QTreeView(parent) {
    setItemDelegate(new RowDelegate(this));
    setRootIsDecorated(false);
    setItemsExpandable(false);
    setUniformRowHeights(true);  // avoids measuring every row
    setAlternatingRowColors(true);
    setSelectionMode(QAbstractItemView::ExtendedSelection);
    header()->setResizeContentsPrecision(kRowsToFit);
}

void CheckListView::FitColumns() {
    const int widest = kWidestColumn * fontMetrics().averageCharWidth();
    for (int column = 0; column < header()->count(); ++column) {
        resizeColumnToContents(column);
        setColumnWidth(column, std::min(columnWidth(column), widest));
    }
}

void CheckListView::keyPressEvent(QKeyEvent* event) {
    switch (event->key()) {
        case Qt::Key_Space:
            ToggleSelected();
            break;
        case Qt::Key_Left:
            MoveColumn(-1);
            break;
        case Qt::Key_Right:
            MoveColumn(1);
            break;
        case Qt::Key_F3:
            if (currentIndex().isValid()) {
                emit header()->sectionClicked(currentIndex().column());
            }
            break;
        case Qt::Key_Return:
        case Qt::Key_Enter:
            break;
        default:
            QTreeView::keyPressEvent(event);
            return;
    }
    event->accept();
}

void CheckListView::ToggleSelected() {
    const QModelIndex current = currentIndex().siblingAtColumn(0);
    if (!current.isValid()) {
        return;
    }
    const bool checked = current.data(Qt::CheckStateRole).toInt() == Qt::Checked;
    static_cast<CheckList*>(model())->Check(selectionModel()->selectedRows() << current, !checked);
}

// The user can have changed the order of the columns.
void CheckListView::MoveColumn(int step) {
    if (!currentIndex().isValid()) {
        selectionModel()->setCurrentIndex(model()->index(0, 0), QItemSelectionModel::NoUpdate);
    }
    const int column =
        header()->logicalIndex(header()->visualIndex(currentIndex().column()) + step);
    const QModelIndex next = currentIndex().siblingAtColumn(column);
    if (next.isValid()) {
        selectionModel()->setCurrentIndex(next, QItemSelectionModel::NoUpdate);
        scrollTo(next);
    }
}

}  // namespace morvane
