// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QAbstractTableModel>
#include <QStringList>
#include <QTreeView>
#include <optional>

#include "dialogs/UpdatableRows.h"

namespace morvane {

// List model of the rows of a query, each with a check box. Creates the texts of cells on demand,
// so that a list of a million rows opens immediately.
class CheckList : public QAbstractTableModel {
    Q_OBJECT

  public:
    using QAbstractTableModel::QAbstractTableModel;

    void Show(UpdatableRows rows);
    // Shows column headers without rows. Nothing can be saved then.
    void ShowHeaders(const QStringList& headers);

    // Null if no query is shown.
    UpdatableRows* Rows() { return rows_ ? &*rows_ : nullptr; }
    void CheckAll(bool checked);
    void Check(const QModelIndexList& rows, bool checked);
    // The texts of the checked rows, in list order.
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
    QVariant Alignment(int column) const;

    std::optional<UpdatableRows> rows_;
    QStringList headers_;
};

// Runs a query and shows its rows. Throws DatabaseError and then leaves the list unchanged.
void OpenRecordsetIntoList(CheckList& list, Connection& connection, UpdatableQuery query);

// A list with check boxes. A click checks one row, the space key all selected rows. Left and Right
// move between the columns, and F3 acts like a click on the header of the current column. Enter
// does nothing, so that it does not press a button of the window.
class CheckListView : public QTreeView {
    Q_OBJECT

  public:
    explicit CheckListView(QWidget* parent);

    // Fits the columns to the first rows, up to a maximum width.
    void FitColumns();

  protected:
    void keyPressEvent(QKeyEvent* event) override;

  private:
    void ToggleSelected();
    void MoveColumn(int step);
};

}  // namespace morvane
