// SPDX-License-Identifier: Apache-2.0
#include "ui/frmSustainRec.h"

#include <QFontDatabase>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QKeyEvent>
#include <QScreen>
#include <QShortcut>
#include <QSignalBlocker>
#include <QSplitter>
#include <QTextDocument>
#include <stdexcept>

#include "base/Text.h"
#include "db/modDatabaseOperations.h"
#include "dialogs/SustainQuery.h"
#include "ui/ScrollPanel.h"

namespace morvane {

namespace {

constexpr int kQueryLines = 4;

QString TrimmedText(const QPlainTextEdit& box) {
    return box.toPlainText().trimmed();
}

QHBoxLayout* ButtonRow(std::initializer_list<QWidget*> buttons) {
    auto* row = new QHBoxLayout;
    for (QWidget* button : buttons) {
        row->addWidget(button);
    }
    row->addStretch();
    return row;
}

}  // namespace

frmSustainRec::frmSustainRec(RunState& state, RunServices& services, QWidget* parent)
    : Window(services.Prompt, parent), state_(state), services_(services) {
    setObjectName("frmSustainRec");
    setWindowTitle("Dimension Checks");
    setWindowFlag(Qt::WindowMaximizeButtonHint);
    LayOut();
    // A large part of a small screen, a smaller part of a large one.
    const QSize room = screen()->availableSize();
    const QSize useful(130 * fontMetrics().averageCharWidth(), 40 * fontMetrics().lineSpacing());
    ResizeOnScreen(*this, (room * 0.7).expandedTo(useful).boundedTo(room * 0.9));
    LoadTables();
}

// Enter starts a new line in the query, so the window has no default button. Elsewhere Enter
// presses only the focused button.
QPushButton* frmSustainRec::MakeButton(const char* name, const char* caption,
                                       void (frmSustainRec::*pressed)()) {
    auto* button = Named(name, new PushButton(caption, this));
    button->setAutoDefault(false);
    connect(button, &QPushButton::clicked, this, Safe(pressed));
    return button;
}

void frmSustainRec::keyPressEvent(QKeyEvent* event) {
    const bool enter = event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter;
    if (!enter) {
        QDialog::keyPressEvent(event);
    } else if (auto* button = qobject_cast<QPushButton*>(focusWidget())) {
        button->click();
    }
}

QGroupBox* frmSustainRec::MakeTables() {
    auto* frame = Named("fraDimensionTables", new QGroupBox("Dimension Tables", this));
    lvwDimensionTables_ = Named("lvwDimensionTables", new CheckListView(frame));
    lvwDimensionTables_->setModel(&tables_);
    auto* label =
        MakeLabel("lblDimensionTables", "Select Dimension tables to mark their unused elements",
                  lvwDimensionTables_, frame);
    label->setWordWrap(true);

    auto* layout = new QVBoxLayout(frame);
    layout->addWidget(label);
    layout->addWidget(lvwDimensionTables_, 1);
    layout->addLayout(
        ButtonRow({MakeButton("cmdSelectAll", "&Select All", &frmSustainRec::SelectAll),
                   MakeButton("cmdUnselectAll", "C&lear All", &frmSustainRec::UnselectAll)}));
    return frame;
}

QGroupBox* frmSustainRec::MakeRecords() {
    auto* frame = Named("fraSustain", new QGroupBox("Records To Sustain", this));
    auto* layout = new QVBoxLayout(frame);
    AddQuery(frame, layout);

    lvwDimensionRecords_ = Named("lvwDimensionRecords", new CheckListView(frame));
    lvwDimensionRecords_->setModel(&records_);
    QHeaderView* header = lvwDimensionRecords_->header();
    header->setSectionsClickable(true);
    header->setSortIndicatorShown(true);
    header->setSortIndicator(-1, Qt::AscendingOrder);
    header->setToolTip(ToolTipText(
        "Click a column header, or press F3 in the list, to sort by the column. The left and right "
        "arrow keys change the column."));
    connect(header, &QHeaderView::sectionClicked, this, Safe(&frmSustainRec::SortBy));
    lblRecordsState_ = Named("lblRecordsState", new QLabel(frame));
    auto* caption = new QHBoxLayout;
    caption->addWidget(MakeLabel("lblRecords", "Select the records to  be sustained",
                                 lvwDimensionRecords_, frame));
    caption->addStretch();
    caption->addWidget(lblRecordsState_);
    layout->addLayout(caption);
    layout->addWidget(lvwDimensionRecords_, 1);
    QHBoxLayout* buttons =
        ButtonRow({MakeButton("cmdSustainAll", "Select &All", &frmSustainRec::SustainAll),
                   MakeButton("cmdUnsustainAll", "Clea&r All", &frmSustainRec::UnsustainAll)});
    cmdSaveSelection_ =
        MakeButton("cmdSaveSelection", "Sa&ve Selection", &frmSustainRec::SaveSelection);
    buttons->addWidget(cmdSaveSelection_);
    layout->addLayout(buttons);
    connect(new QShortcut(QKeySequence::Save, this), &QShortcut::activated, this,
            Safe(&frmSustainRec::SaveSelection));
    connect(&records_, &QAbstractItemModel::modelReset, this, Safe(&frmSustainRec::ShowState));
    connect(&records_, &QAbstractItemModel::dataChanged, this, Safe(&frmSustainRec::ShowState));
    ShowState();
    return frame;
}

void frmSustainRec::AddQuery(QWidget* frame, QVBoxLayout* layout) {
    cboSelectedTables_ = Named("cboSelectedTables", new DropDownList(frame));
    connect(cboSelectedTables_, &DropDownList::DropDown, this,
            Safe(&frmSustainRec::FillSelectedTables));
    connect(cboSelectedTables_, &QComboBox::activated, this, Safe(&frmSustainRec::ShowTable));
    // Keys choose from the closed list, too.
    const auto fill = Safe(&frmSustainRec::FillSelectedTables);
    connect(&tables_, &QAbstractItemModel::dataChanged, this, fill);
    connect(&tables_, &QAbstractItemModel::modelReset, this, fill);
    auto* table = new QHBoxLayout;
    table->addWidget(MakeLabel("lblSelectedTables", "Select a table you want to define a query for",
                               cboSelectedTables_, frame));
    table->addWidget(cboSelectedTables_, 1);
    layout->addLayout(table);

    txtWhereClause_ = Named("txtWhereClause", new QPlainTextEdit(frame));
    txtWhereClause_->setTabChangesFocus(true);
    txtWhereClause_->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    const int margins =
        2 * (txtWhereClause_->frameWidth() + qRound(txtWhereClause_->document()->documentMargin()));
    txtWhereClause_->setFixedHeight(txtWhereClause_->fontMetrics().lineSpacing() * kQueryLines +
                                    margins);
    layout->addWidget(MakeLabel("lblWhereClause",
                                "Query to show records to be (un)marked to sustain",
                                txtWhereClause_, frame));
    layout->addWidget(txtWhereClause_);
    layout->addLayout(
        ButtonRow({MakeButton("cmdExecuteQuery", "&Execute Query", &frmSustainRec::ExecuteQuery),
                   MakeButton("cmdParseQuery", "&Parse Query", &frmSustainRec::ParseQuery)}));
    for (const char* key : {"Ctrl+Return", "Ctrl+Enter"}) {  // Enter is on the numeric keypad
        connect(new QShortcut(QKeySequence(key), this), &QShortcut::activated, this,
                Safe(&frmSustainRec::ExecuteQuery));
    }
}

void frmSustainRec::LayOut() {
    auto* splitter = new QSplitter(Qt::Horizontal, this);
    splitter->addWidget(MakeTables());
    splitter->addWidget(MakeRecords());
    splitter->setChildrenCollapsible(false);
    splitter->setStretchFactor(0, 2);
    splitter->setStretchFactor(1, 5);
    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(MakeButton("cmdOK", "&OK", &frmSustainRec::accept));
    buttons->addWidget(MakeButton("cmdCancel", "&Cancel", &frmSustainRec::reject));
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(splitter, 1);
    layout->addLayout(buttons);
}

Connection& frmSustainRec::Warehouse() {
    if (state_.WarehouseConnection == nullptr) {
        throw DatabaseError({"There is no connection to the warehouse."});
    }
    if (!state_.WarehouseConnection->IsOpen()) {
        state_.WarehouseConnection->Open();
    }
    return *state_.WarehouseConnection;
}

bool frmSustainRec::TryQuery(const std::function<void()>& work, const std::string& lead) {
    return TryBusy([&] {
        try {
            work();
        } catch (const DatabaseError& error) {
            throw std::runtime_error(lead + Join(error.Descriptions(), kCrLf));
        }
    });
}

void frmSustainRec::LoadTables() {
    TryQuery([this] {
        OpenRecordsetIntoList(tables_, Warehouse(), DimensionTablesQuery(Warehouse()));
        tables_.setHeaderData(0, Qt::Horizontal, "Table Name", Qt::EditRole);
    });
}

// Lists the checked tables, and keeps the chosen one if it is still among them.
void frmSustainRec::FillSelectedTables() {
    const QSignalBlocker quiet(cboSelectedTables_);
    const QString chosen = cboSelectedTables_->currentText();
    cboSelectedTables_->clear();
    cboSelectedTables_->addItems(tables_.CheckedTexts());
    cboSelectedTables_->setCurrentIndex(cboSelectedTables_->findText(chosen));
}

void frmSustainRec::ShowTable(int index) {
    const QString table = cboSelectedTables_->itemText(index);
    txtWhereClause_->setPlainText("Select * from " + table);
    records_.ShowHeaders({});
    QStringList headers;
    TryQuery([&] {
        for (const ColumnDefinition& column : Warehouse().DescribeTable(ToText(table)).Columns) {
            if (!EqualsIgnoreCase(column.Name, "is_sustainable")) {
                headers.append(ToQString(column.Name));
            }
        }
    });
    records_.ShowHeaders(headers);
    sortedColumn_ = -1;
    lvwDimensionRecords_->header()->setSortIndicator(-1, Qt::AscendingOrder);
    lvwDimensionRecords_->FitColumns();
}

void frmSustainRec::ExecuteQuery() {
    const std::string sql = ToText(TrimmedText(*txtWhereClause_));
    if (sql.empty()) {
        ShowMessage("Please enter the SQL Query first.");
        return;
    }
    if (IsJoinQuery(sql)) {
        ShowMessage("Join Queries are not allowed");
        return;
    }
    std::string errorText;
    const auto query = ParseSelect(sql, errorText);
    if (!query) {
        ShowMessage(errorText);
        return;
    }
    if (!services_.Prompt
             .AskYesNo("Query Execution", "Do you wish to execute this query?", DefaultAnswer::Yes)
             .value_or(false)) {
        return;
    }
    records_.ShowHeaders({});
    sortedColumn_ = -1;
    lvwDimensionRecords_->header()->setSortIndicator(-1, Qt::AscendingOrder);
    TryQuery([&] {
        OpenRecordsetIntoList(records_, Warehouse(), SustainQuery(Warehouse(), *query));
        lvwDimensionRecords_->FitColumns();
    });
}

// After an error the server stays in compile-only mode. A connection that cannot leave it is
// closed, and the next statement reopens it.
void frmSustainRec::LeaveCompileOnly() {
    try {
        Warehouse().Execute("Set NOEXEC OFF");
    } catch (const DatabaseError&) {
        state_.WarehouseConnection->Close();
    }
}

void frmSustainRec::ParseQuery() {
    const std::string sql = ToText(TrimmedText(*txtWhereClause_));
    if (sql.empty()) {
        ShowMessage("No Query to Parse");
        return;
    }
    {
        const HourglassPointer pointer;
        std::string errorText;
        const bool valid = ValidateQuery(sql, Warehouse(), errorText);
        if (!valid) {
            LeaveCompileOnly();
        }
        Require(valid, errorText);
    }
    ShowMessage("The Query was compiled successfully");
}

// Reads the rows of a list again. Unsaved marks are kept.
void frmSustainRec::Reload(CheckList& list, UpdatableQuery query) {
    CheckListView& view = &list == &tables_ ? *lvwDimensionTables_ : *lvwDimensionRecords_;
    const QByteArray widths = view.header()->saveState();
    const QModelIndex current = view.currentIndex();
    UpdatableRows again(Warehouse(), std::move(query));
    again.CarryOver(*list.Rows());
    list.Show(std::move(again));
    if (&list == &tables_) {
        tables_.setHeaderData(0, Qt::Horizontal, "Table Name", Qt::EditRole);
    }
    view.header()->restoreState(widths);
    view.selectionModel()->setCurrentIndex(list.index(current.row(), current.column()),
                                           QItemSelectionModel::NoUpdate);
}

// Sorts on the server.
void frmSustainRec::SortBy(int column) {
    const QString name = records_.headerData(column, Qt::Horizontal, Qt::DisplayRole).toString();
    if (UpdatableRows* rows = records_.Rows(); rows != nullptr && !name.isEmpty()) {
        UpdatableQuery query = rows->Query();
        query.Sql = OrderedBy(query.Sql, ToText(name));
        const std::string lead = "The records cannot be sorted by " + ToText(name) + ":\r\n";
        const bool sorted = TryQuery([&] { Reload(records_, std::move(query)); }, lead);
        sortedColumn_ = sorted ? column : sortedColumn_;
    }
    lvwDimensionRecords_->header()->setSortIndicator(sortedColumn_, Qt::AscendingOrder);
}

// If another user has changed a row, the list shows it as it is now, so that the next attempt can
// succeed.
bool frmSustainRec::Save(CheckList& list) {
    if (list.Rows() == nullptr) {
        ShowMessage("No Records to be saved.");
        return true;
    }
    bool outdated = false;
    const bool saved = TryQuery([&] {
        try {
            list.Rows()->Save(Warehouse());
        } catch (const RowChangedError&) {
            outdated = true;
            throw;
        }
    });
    if (outdated) {
        TryQuery([&] { Reload(list, list.Rows()->Query()); });
    }
    return saved;
}

void frmSustainRec::SaveSelection() {
    Save(records_);
    ShowState();
}

// Says how many records there are, and how many of their marks would be lost.
void frmSustainRec::ShowState() {
    const auto count = [](std::size_t n, const char* what) {
        return QString("%1 %2%3").arg(n).arg(what, n == 1 ? "" : "s");
    };
    const UpdatableRows* rows = records_.Rows();
    const std::size_t unsaved = rows != nullptr ? rows->UnsavedCount() : 0;
    QString state = rows != nullptr ? count(rows->Count(), "record") : QString();
    if (unsaved > 0) {
        state += ", " + count(unsaved, "unsaved mark");
    }
    lblRecordsState_->setText(state);
    if (unsaved == 0 && cmdSaveSelection_->hasFocus()) {
        lvwDimensionRecords_->setFocus();  // otherwise the next button would get the focus
    }
    cmdSaveSelection_->setEnabled(unsaved > 0);
}

void frmSustainRec::accept() {
    if (tables_.Rows() == nullptr || Save(tables_)) {
        QDialog::accept();
    }
}

}  // namespace morvane
