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
    resize((room * 0.7).expandedTo(useful).boundedTo(room * 0.9));
    LoadTables();
}

// Enter starts a new line in the query, so the window has no default button. Elsewhere Enter
// presses only the focused button.
QPushButton* frmSustainRec::MakeButton(const char* name, const char* caption,
                                       void (frmSustainRec::*pressed)()) {
    auto* button = Named(name, new QPushButton(caption, this));
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
    connect(header, &QHeaderView::sectionClicked, this, Safe(&frmSustainRec::SortBy));
    layout->addWidget(MakeLabel("lblRecords", "Select the records to  be sustained",
                                lvwDimensionRecords_, frame));
    layout->addWidget(lvwDimensionRecords_, 1);
    QHBoxLayout* buttons =
        ButtonRow({MakeButton("cmdSustainAll", "Select &All", &frmSustainRec::SustainAll),
                   MakeButton("cmdUnsustainAll", "Clea&r All", &frmSustainRec::UnsustainAll)});
    buttons->addWidget(
        MakeButton("cmdSaveSelection", "Sa&ve Selection", &frmSustainRec::SaveSelection));
    layout->addLayout(buttons);
    return frame;
}

void frmSustainRec::AddQuery(QWidget* frame, QVBoxLayout* layout) {
    cboSelectedTables_ = Named("cboSelectedTables", new DropDownList(frame));
    connect(cboSelectedTables_, &DropDownList::DropDown, this,
            Safe(&frmSustainRec::FillSelectedTables));
    connect(cboSelectedTables_, &QComboBox::activated, this, Safe(&frmSustainRec::ShowTable));
    // Keys choose from the closed list, too.
    connect(&tables_, &QAbstractItemModel::dataChanged, this,
            Safe(&frmSustainRec::FillSelectedTables));
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
    connect(new QShortcut(QKeySequence("Ctrl+Return"), this), &QShortcut::activated, this,
            Safe(&frmSustainRec::ExecuteQuery));
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

// Sorts on the server. Unsaved marks are kept.
void frmSustainRec::SortBy(int column) {
    const QString name = records_.headerData(column, Qt::Horizontal, Qt::DisplayRole).toString();
    QHeaderView* header = lvwDimensionRecords_->header();
    if (UpdatableRows* rows = records_.Rows(); rows != nullptr && !name.isEmpty()) {
        UpdatableQuery query = rows->Query();
        query.Sql = OrderedBy(query.Sql, ToText(name));
        const std::string lead = "The records cannot be sorted by " + ToText(name) + ":\r\n";
        const QByteArray widths = header->saveState();
        const bool sorted = TryQuery(
            [&] {
                UpdatableRows again(Warehouse(), std::move(query));
                again.CarryOver(*rows);
                records_.Show(std::move(again));
                header->restoreState(widths);
            },
            lead);
        sortedColumn_ = sorted ? column : sortedColumn_;
    }
    header->setSortIndicator(sortedColumn_, Qt::AscendingOrder);
}

bool frmSustainRec::Save(CheckList& list) {
    if (list.Rows() == nullptr) {
        ShowMessage("No Records to be saved.");
        return true;
    }
    return TryQuery([&] { list.Rows()->Save(Warehouse()); });
}

void frmSustainRec::accept() {
    if (tables_.Rows() == nullptr || Save(tables_)) {
        QDialog::accept();
    }
}

}  // namespace morvane
