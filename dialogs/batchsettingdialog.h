#pragma once

#include "dialogs/batchtree.h"

#include <QDialog>
#include <QList>
#include <QPair>
#include <QString>

namespace Ui {
class BatchSettingDialog;
}

class QShowEvent;
class QTreeWidgetItem;

// One entry per page tab, in tab order: the tab's text and whether it takes part in a batch.
using BatchPageList = QList<QPair<QString, bool>>;

// Chooses the pages of a batch run. The caller hands the tabs' flags in, runs the dialog and,
// when it was accepted, reads the flags back in the same order; Cancel changes nothing.
class BatchSettingDialog : public QDialog
{
    Q_OBJECT

public:
    explicit BatchSettingDialog(QWidget* parent = nullptr);
    ~BatchSettingDialog() override;

    // Before the first show; the tree is built from these once.
    void SetPages(const BatchPageList& list) { pages = list; }
    // After an accepted run: the same pages with the flags the user chose.
    const BatchPageList& Pages() const { return pages; }

public slots:
    bool slotLeftClicked(const QPoint& pos);
    bool slotLeftDoubleClicked(const QPoint& pos);
    void on_pushButton_clicked();
    void on_pushButton_2_clicked();

protected:
    void showEvent(QShowEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void BuildTree();
    QTreeWidgetItem* Root() const;
    int CheckedChildren() const;
    // After a toggle of item: the root toggles every page, a page updates the root.
    void ApplyToggle(QTreeWidgetItem* item);
    HitZone ZoneAt(QTreeWidgetItem* item, const QPoint& pos) const;

    BatchPageList pages;
    Ui::BatchSettingDialog* ui = nullptr;
    bool populated = false;
};
