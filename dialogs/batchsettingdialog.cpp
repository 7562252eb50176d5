#include "dialogs/batchsettingdialog.h"
#include "ui_batchsettingdialog.h"

#include "dialogs/batchtree.h"

#include <QKeyEvent>
#include <QShowEvent>
#include <QStyle>
#include <QTreeWidgetItem>

namespace {

// Entries carry no user-checkable flag: every toggle goes through the dialog, so the root
// rule is applied whether the mouse or the keyboard did it.
constexpr Qt::ItemFlags kEntryFlags = Qt::ItemIsEnabled | Qt::ItemIsSelectable;

} // namespace

BatchSettingDialog::BatchSettingDialog(QWidget* parent)
    : QDialog(parent), ui(new Ui::BatchSettingDialog)
{
    ui->setupUi(this);
    connect(ui->treeWidget, &MyTreeWidget::leftClicked, this, &BatchSettingDialog::slotLeftClicked,
            Qt::DirectConnection);
    connect(ui->treeWidget, &MyTreeWidget::leftDoubleClicked, this,
            &BatchSettingDialog::slotLeftDoubleClicked, Qt::DirectConnection);
    ui->treeWidget->installEventFilter(this);
}

BatchSettingDialog::~BatchSettingDialog()
{
    delete ui;
}

void BatchSettingDialog::showEvent(QShowEvent* event)
{
    QDialog::showEvent(event);
    if (populated)
        return;
    populated = true;
    BuildTree();
}

void BatchSettingDialog::BuildTree()
{
    QTreeWidget* tree = ui->treeWidget;
    tree->setHeaderHidden(true);
    tree->setColumnCount(1);
    auto* root = new QTreeWidgetItem(QStringList(tr("すべて")));
    root->setFlags(kEntryFlags);
    root->setCheckState(0, Qt::Unchecked);
    tree->addTopLevelItem(root);
    tree->setColumnWidth(0, tree->width() - 2);
    for (const auto& [name, checked] : pages) {
        auto* entry = new QTreeWidgetItem(root, QStringList(name));
        entry->setFlags(kEntryFlags);
        entry->setCheckState(0, checked ? Qt::Checked : Qt::Unchecked);
    }
    tree->expandAll();
    // Hidden through the view: an item told to show no indicator also hides its children.
    tree->setRootIsDecorated(false);
    root->setCheckState(0, RootCheckState(CheckedChildren(), root->childCount()));
    tree->setCurrentItem(root);
}

QTreeWidgetItem* BatchSettingDialog::Root() const
{
    return ui->treeWidget->topLevelItem(0);
}

int BatchSettingDialog::CheckedChildren() const
{
    const QTreeWidgetItem* root = Root();
    int checked = 0;
    for (int i = 0; root != nullptr && i < root->childCount(); ++i)
        checked += root->child(i)->checkState(0) == Qt::Checked ? 1 : 0;
    return checked;
}

void BatchSettingDialog::ApplyToggle(QTreeWidgetItem* item)
{
    QTreeWidgetItem* root = Root();
    item->setCheckState(0, ToggledState(item->checkState(0)));
    if (item != root) {
        root->setCheckState(0, RootCheckState(CheckedChildren(), root->childCount()));
        return;
    }
    const Qt::CheckState target = RootToggleTarget(CheckedChildren());
    for (int i = 0; i < root->childCount(); ++i)
        root->child(i)->setCheckState(0, target);
    root->setCheckState(0, target);
}

HitZone BatchSettingDialog::ZoneAt(QTreeWidgetItem* item, const QPoint& pos) const
{
    const int indicator = ui->treeWidget->style()->pixelMetric(QStyle::PM_IndicatorWidth, nullptr,
                                                                ui->treeWidget);
    return HitZoneAt(ui->treeWidget->visualItemRect(item), indicator, pos);
}

bool BatchSettingDialog::slotLeftClicked(const QPoint& pos)
{
    QTreeWidgetItem* item = ui->treeWidget->itemAt(pos);
    if (item == nullptr)
        return false;
    ui->treeWidget->setCurrentItem(item);
    switch (ZoneAt(item, pos)) {
    case HitZone::Indent:
        return true;
    case HitZone::CheckBox:
        ApplyToggle(item);
        return true;
    default:
        return false;
    }
}

bool BatchSettingDialog::slotLeftDoubleClicked(const QPoint& pos)
{
    QTreeWidgetItem* item = ui->treeWidget->itemAt(pos);
    if (item == nullptr)
        return false;
    switch (ZoneAt(item, pos)) {
    case HitZone::Indent:
        item->setExpanded(!item->isExpanded());
        return true;
    case HitZone::CheckBox:
    case HitZone::Text:
        // No expanding, collapsing or editing from a box or a name.
        return true;
    default:
        return false;
    }
}

bool BatchSettingDialog::eventFilter(QObject* watched, QEvent* event)
{
    // Space toggles the current entry by the same rule as a click on its box.
    if (watched == ui->treeWidget && event->type() == QEvent::KeyPress
        && static_cast<QKeyEvent*>(event)->key() == Qt::Key_Space) {
        if (QTreeWidgetItem* item = ui->treeWidget->currentItem())
            ApplyToggle(item);
        return true;
    }
    return QDialog::eventFilter(watched, event);
}

void BatchSettingDialog::on_pushButton_clicked()
{
    const QTreeWidgetItem* root = Root();
    for (int i = 0; root != nullptr && i < root->childCount() && i < pages.size(); ++i)
        pages[i].second = root->child(i)->checkState(0) == Qt::Checked;
    accept();
}

void BatchSettingDialog::on_pushButton_2_clicked()
{
    reject();
}
