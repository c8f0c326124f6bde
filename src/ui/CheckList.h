// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QAbstractTableModel>
#include <QStringList>
#include <QTreeView>
#include <optional>

#include "dialogs/UpdatableRows.h"

namespace morvane {

// The rows of a query with a check box each, as a list shows them. It keeps no copy of the rows'
// texts: a list of a million rows opens at once.
class CheckList : public QAbstractTableModel {
    Q_OBJECT

  public:
    using QAbstractTableModel::QAbstractTableModel;

    void Show(UpdatableRows rows);
    // Column headers over no rows; nothing can be saved then.
    void ShowHeaders(const QStringList& headers);

    // Null while no query is shown.
    UpdatableRows* Rows() { return rows_ ? &*rows_ : nullptr; }
    void CheckAll(bool checked);
    // The texts of the checked rows, in the order of the list.
    QStringList CheckedTexts() const;

    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    bool setData(const QModelIndex& index, const QVariant& value, int role) override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;
    bool setHeaderData(int section, Qt::Orientation orientation, const QVariant& value,
                       int role) override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;

  private:
    QVariant Read(const QModelIndex& index, int role) const;

    std::optional<UpdatableRows> rows_;
    QStringList headers_;
};

// Runs a query and shows its rows. On failure the list stays as it was: DatabaseError.
void OpenRecordsetIntoList(CheckList& list, Connection& connection, UpdatableQuery query);

// A list with check boxes. The mouse checks one row, the space key all rows that are selected; the
// enter key does nothing, so that it presses no button of the window by accident.
class CheckListView : public QTreeView {
    Q_OBJECT

  public:
    explicit CheckListView(QWidget* parent);

    // Columns as wide as the first rows need, within reason.
    void FitColumns();

  protected:
    void keyPressEvent(QKeyEvent* event) override;

  private:
    void ToggleSelected();
};

}  // namespace morvane
