// SPDX-License-Identifier: Apache-2.0
#include "ui/ConditionsGrid.h"

#include <QAbstractTextDocumentLayout>
#include <QFocusEvent>
#include <QHeaderView>
#include <QKeyEvent>
#include <QPlainTextEdit>
#include <QStyledItemDelegate>
#include <QTextBlock>
#include <QTextDocument>
#include <QTimer>

#include "ui/Controls.h"

namespace morvane {

namespace {

constexpr int kCellMargins = 8;  // above plus below the text, as in its editor
constexpr int kTableColumn = 0;
constexpr int kConditionColumn = 1;
constexpr int kLongestLines = 4;         // of a condition in its cell
constexpr int kTableColumnLetters = 36;  // the tool tip shows longer names

QTableWidgetItem* MakeItem() {
    auto* item = new QTableWidgetItem;
    item->setFlags(Qt::ItemIsSelectable | Qt::ItemIsEnabled);
    return item;
}

void SetItem(QTableWidgetItem& item, const QString& text) {
    item.setText(text);
    item.setToolTip(ToolTipText(text));
}

// Edits multi-line text and accepts it with Enter, like a single-line editor.
class ConditionDelegate : public QStyledItemDelegate {
  public:
    explicit ConditionDelegate(ConditionsGrid& grid) : QStyledItemDelegate(&grid), grid_(grid) {}

    QWidget* createEditor(QWidget* parent, const QStyleOptionViewItem&,
                          const QModelIndex& index) const override;
    void setEditorData(QWidget* editor, const QModelIndex& index) const override;
    void setModelData(QWidget* editor, QAbstractItemModel* model,
                      const QModelIndex& index) const override;
    void updateEditorGeometry(QWidget* editor, const QStyleOptionViewItem& option,
                              const QModelIndex& index) const override;
    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;

  protected:
    bool eventFilter(QObject* object, QEvent* event) override;

  private:
    void FitToText(QPlainTextEdit& editor, const QRect& cell) const;

    ConditionsGrid& grid_;
};

QWidget* ConditionDelegate::createEditor(QWidget* parent, const QStyleOptionViewItem&,
                                         const QModelIndex& index) const {
    auto* editor = new QPlainTextEdit(parent);
    editor->setObjectName("txtCondition");
    editor->setAccessibleName("Condition of " +
                              index.siblingAtColumn(kTableColumn).data().toString());
    editor->document()->setDocumentMargin(2);
    editor->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);  // all lines are wrapped
    connect(editor->document()->documentLayout(), &QAbstractTextDocumentLayout::documentSizeChanged,
            editor, [this, editor, row = QPersistentModelIndex(index)] {
                FitToText(*editor, grid_.visualRect(row));
            });
    return editor;
}

void ConditionDelegate::setEditorData(QWidget* editor, const QModelIndex& index) const {
    auto* text = qobject_cast<QPlainTextEdit*>(editor);
    text->setPlainText(index.data().toString());
    text->selectAll();
    // The lines are known only when the editor has its width and is shown.
    QTimer::singleShot(0, text, [this, text, row = QPersistentModelIndex(index)] {
        FitToText(*text, grid_.visualRect(row));
    });
}

void ConditionDelegate::setModelData(QWidget* editor, QAbstractItemModel*,
                                     const QModelIndex& index) const {
    const auto* text = qobject_cast<QPlainTextEdit*>(editor);
    if (text->document()->isModified()) {
        emit grid_.ConditionEdited(index.row(), text->toPlainText());
    }
}

void ConditionDelegate::updateEditorGeometry(QWidget* editor, const QStyleOptionViewItem& option,
                                             const QModelIndex&) const {
    FitToText(*qobject_cast<QPlainTextEdit*>(editor), option.rect);
}

// Places the editor over its cell, as high as its text needs and the grid allows.
void ConditionDelegate::FitToText(QPlainTextEdit& editor, const QRect& cell) const {
    // The layout's own height is in lines. The last block includes the lower margin.
    const QAbstractTextDocumentLayout& layout = *editor.document()->documentLayout();
    qreal text = editor.document()->documentMargin();
    for (QTextBlock block = editor.document()->begin(); block.isValid(); block = block.next()) {
        text += layout.blockBoundingRect(block).height();
    }
    const int needed = qCeil(text) + 1 + 2 * editor.frameWidth();  // else it has a scroll bar
    const int available = grid_.viewport()->height();
    const int height = qMin(qMax(needed, cell.height()), available);
    editor.setGeometry(cell.x(), qMax(0, qMin(cell.y(), available - height)), cell.width(), height);
}

QSize ConditionDelegate::sizeHint(const QStyleOptionViewItem& option,
                                  const QModelIndex& index) const {
    const int line = option.fontMetrics.lineSpacing();
    const QSize hint = QStyledItemDelegate::sizeHint(option, index);
    return {hint.width(), qBound(line, hint.height(), kLongestLines * line) + kCellMargins};
}

bool ConditionDelegate::eventFilter(QObject* object, QEvent* event) {
    auto* editor = qobject_cast<QWidget*>(object);
    if (event->type() == QEvent::KeyPress) {
        const auto* key = static_cast<QKeyEvent*>(event);
        const bool enter = key->key() == Qt::Key_Return || key->key() == Qt::Key_Enter;
        const bool newLine = enter && key->modifiers().testFlag(Qt::ShiftModifier);
        if ((enter && !newLine) || key->key() == Qt::Key_Tab || key->key() == Qt::Key_Backtab) {
            emit commitData(editor);
            emit closeEditor(editor, NoHint);
            return true;
        }
    }
    if (event->type() == QEvent::FocusOut) {
        // Keep the editor open while the user looks something up in another window.
        const Qt::FocusReason reason = static_cast<QFocusEvent*>(event)->reason();
        if (reason == Qt::ActiveWindowFocusReason || reason == Qt::PopupFocusReason) {
            return false;
        }
    }
    return QStyledItemDelegate::eventFilter(object, event);
}

}  // namespace

ConditionsGrid::ConditionsGrid(QWidget* parent) : QTableWidget(0, 2, parent) {
    setAccessibleName("Conditions of the fact tables");
    setHorizontalHeaderLabels({"Table Name", "Condition(s)"});
    setItemDelegateForColumn(kConditionColumn, new ConditionDelegate(*this));
    setEditTriggers(DoubleClicked | EditKeyPressed | AnyKeyPressed);
    setSelectionMode(SingleSelection);
    setTabKeyNavigation(false);
    setWordWrap(true);
    setMinimumHeight(7 * fontMetrics().lineSpacing());
    setVerticalScrollMode(ScrollPerPixel);
    verticalHeader()->hide();
    horizontalHeader()->setStretchLastSection(true);
    horizontalHeader()->setHighlightSections(false);
    horizontalHeader()->setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    // Queued, since the signal is emitted before the last column has its new width.
    connect(horizontalHeader(), &QHeaderView::sectionResized, this,
            &ConditionsGrid::resizeRowsToContents, Qt::QueuedConnection);
}

void ConditionsGrid::AddTable(const QString& table, const QString& condition) {
    const int row = rowCount();
    insertRow(row);
    auto* name = MakeItem();
    SetItem(*name, table);
    setItem(row, kTableColumn, name);
    auto* cell = MakeItem();
    cell->setFlags(cell->flags() | Qt::ItemIsEditable);
    setItem(row, kConditionColumn, cell);
    SetCondition(row, condition);
}

void ConditionsGrid::SetCondition(int row, const QString& condition) {
    SetItem(*item(row, kConditionColumn), condition);
    resizeRowToContents(row);
}

void ConditionsGrid::FitColumns() {
    resizeColumnToContents(kTableColumn);
    const int widest = kTableColumnLetters * fontMetrics().averageCharWidth();
    setColumnWidth(kTableColumn, qMin(columnWidth(kTableColumn), widest));
    resizeRowsToContents();
    setCurrentCell(rowCount() > 0 ? 0 : -1, kConditionColumn);
}

void ConditionsGrid::FinishEdit() {
    if (QWidget* editor = state() == EditingState ? indexWidget(currentIndex()) : nullptr) {
        commitData(editor);
        closeEditor(editor, QAbstractItemDelegate::NoHint);
    }
}

void ConditionsGrid::keyPressEvent(QKeyEvent* event) {
    const bool empties = event->key() == Qt::Key_Delete || event->key() == Qt::Key_Backspace;
    if (!empties || currentColumn() != kConditionColumn || state() == EditingState) {
        QTableWidget::keyPressEvent(event);
    } else if (!currentItem()->text().isEmpty()) {
        emit ConditionEdited(currentRow(), {});
    }
}

}  // namespace morvane
