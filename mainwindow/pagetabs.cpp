// The page tabs of the main window: one page entry (widget and editor form) per tab, the
// commands of the tab bar's context menu, the check flags and their lamps.

#include "mainwindow/mainwindow.h"
#include "ui_mainwindow.h"

#include "mainwindow/operationmarker.h"
#include "mainwindow/pagenamedialog.h"
#include "mainwindow/tabtemplate.h"
#include "pipeline/commandline.h"
#include "settings/settingsstore.h"
#include "ui_tabtemplate.h"
#include "validation/warningbox.h"

#include <QCursor>
#include <QDebug>
#include <QIcon>
#include <QMenu>
#include <QPushButton>
#include <QTabBar>
#include <QVBoxLayout>

namespace {

const QString kLampLit = QStringLiteral(":/global/lamp01_a.png");
const QString kLampUnlit = QStringLiteral(":/global/lamp00_a.png");
constexpr QSize kLampSize(20, 20);
// Tool tips stay up until the pointer leaves: some explain a whole switch.
constexpr int kToolTipDuration = 10000000;

} // namespace

void MainWindow::ReadSaveData()
{
    OperationMarker marker("ReadSaveData");
    QList<PageSettingsRecord> pages;
    SettingsStore().ReadPageSettings(pages);
    for (int i = 0; i < pages.size(); ++i) {
        PageSettingsRecord record = pages.at(i);
        if (!CreateTab(i - 1, record.tabName, record.checked))
            break;
        SettingsStore::ValidatePageData(record);
        LoadPageToForm(i, record);
    }
}

TabTemplate* MainWindow::CreateTab(int index, const QString& name, bool checked)
{
    OperationMarker marker("CreateTab");
    auto* page = new QWidget;
    page->setAccessibleName(QStringLiteral("tabpage"));
    auto* layout = new QVBoxLayout(page);
    layout->setContentsMargins(0, 0, 0, 0);
    auto* form = new TabTemplate(page);
    layout->addWidget(form);
    page->setToolTipDuration(kToolTipDuration);
    for (QWidget* child : page->findChildren<QWidget*>())
        child->setToolTipDuration(kToolTipDuration);

    tabBar->setUsesScrollButtons(false);
    tabBar->setElideMode(Qt::ElideRight);

    const int at = ui->tabWidget->insertTab(index + 1, page, name);
    ui->tabWidget->setTabToolTip(at, name);
    pageEntries.append(PageEntry{page, form});
    tabBar->setTabData(at, checked);
    ui->tabWidget->setCurrentIndex(at);

    ConnectPageForm(form);
    form->ShowDetailsState(detailsOpen);
    ShowDetailsArea(detailsOpen);
    // The new page holds the default record, check flag off, until its caller loads another.
    Initialization(at);
    return form;
}

void MainWindow::ConnectPageForm(TabTemplate* form)
{
    // Each form's requests land on the current page; only the current page can make them.
    connect(form, &TabTemplate::detailsToggleRequested, this, [this] { DetailedOpenClose(); });
    connect(form, &TabTemplate::detailsOpenRequested, this, [this] { DetailedOpenClose(true); });
    connect(form, &TabTemplate::resetRequested, this, &MainWindow::on_pushButton_clicked);
    connect(form, &TabTemplate::importRequested, this, &MainWindow::ImportPresetData);
    connect(form, &TabTemplate::exportRequested, this, &MainWindow::ExportPresetData);
    connect(form, &TabTemplate::historiesRequested, this, [this, form] { form->RefreshHistoryCombos(histories); });
}

TabTemplate* MainWindow::GetPageForm(int tabIndex) const
{
    if (tabIndex < 0 || tabIndex >= pageEntries.size())
        return nullptr;
    QWidget* shown = ui->tabWidget->widget(tabIndex);
    for (const PageEntry& entry : pageEntries)
        if (entry.page == shown)
            return entry.form;
    return nullptr;
}

bool MainWindow::IsValidTabIndex(int index) const
{
    return index >= 0 && index < ui->tabWidget->count();
}

bool MainWindow::TabChecked(int tabIndex) const
{
    return tabBar && tabBar->tabData(tabIndex).toBool();
}

void MainWindow::SetTabName(int tabIndex, const QString& name)
{
    ui->tabWidget->setTabText(tabIndex, name);
    ui->tabWidget->setTabToolTip(tabIndex, name);
}

QStringList MainWindow::TabNames(int exceptIndex) const
{
    QStringList names;
    for (int i = 0; i < ui->tabWidget->count(); ++i)
        if (i != exceptIndex)
            names.append(ui->tabWidget->tabText(i));
    return names;
}

bool MainWindow::PageRecordAt(int tabIndex, PageSettingsRecord& record) const
{
    const TabTemplate* form = GetPageForm(tabIndex);
    if (!form)
        return false;
    PageSettingsRecord read;
    read.tabName = ui->tabWidget->tabText(tabIndex);
    read.checked = TabChecked(tabIndex);
    form->SavePageFromForm(read);
    record = read;
    return true;
}

bool MainWindow::LoadPageToForm(int tabIndex, const PageSettingsRecord& record)
{
    TabTemplate* form = GetPageForm(tabIndex);
    if (!form)
        return false;
    tabBar->setTabData(tabIndex, record.checked);
    form->RefreshHistoryCombos(histories);
    form->LoadPageToForm(record);
    UpdateLampIcons();
    return true;
}

void MainWindow::Initialization(int tabIndex)
{
    TabTemplate* form = GetPageForm(tabIndex);
    if (!form)
        return;
    form->Initialization();
    form->RefreshHistoryCombos(histories);
    tabBar->setTabData(tabIndex, false);
    UpdateLampIcons();
}

bool MainWindow::SetDefaultOptionForPage(int tabIndex, const QString& inputDir, const QString& outputDir,
                                         DefaultOption* option, ProcessControl* control)
{
    OperationMarker marker("SetDefaultOptionForPage");
    TabTemplate* form = GetPageForm(tabIndex);
    PageSettingsRecord record;
    if (!form || !PageRecordAt(tabIndex, record))
        return false;
    OptionRefusal refusal;
    if (SetDefaultOption(record, inputDir, outputDir, option, control, &refusal))
        return true;
    ui->tabWidget->setCurrentIndex(tabIndex);
    // A value of the top area (the balance) is refused without sending the user into the panel.
    if (refusal.detailsRow >= 0)
        DetailedOpenClose(true);
    form->ShowOptionRefusal(refusal);
    return false;
}

void MainWindow::FocusFolderField(int tabIndex, bool output)
{
    TabTemplate* form = GetPageForm(tabIndex);
    if (!form)
        return;
    ui->tabWidget->setCurrentIndex(tabIndex);
    QWidget* field = output ? static_cast<QWidget*>(form->ui->outputLineEdit)
                            : static_cast<QWidget*>(form->ui->inputLineEdit);
    field->setFocus(Qt::OtherFocusReason);
}

bool MainWindow::PageNameDialog(QString& name, int index, bool excludeSelf, const QString& okText,
                                const QString& cancelText)
{
    return AskPageName(this, name, TabNames(excludeSelf ? index : -1), okText, cancelText);
}

bool MainWindow::AskYesNo(const QString& question, QMessageBox::Icon icon)
{
    QMessageBox box(icon, QStringLiteral("Dravik for Desktop"), question, QMessageBox::Yes | QMessageBox::No, this);
    box.button(QMessageBox::Yes)->setText(tr("はい"));
    box.button(QMessageBox::No)->setText(tr("いいえ"));
    // A hasty Enter keeps what the user has.
    box.setDefaultButton(QMessageBox::No);
    return box.exec() == QMessageBox::Yes;
}

void MainWindow::on_RightClickedTabBar(int index)
{
    OperationMarker marker("on_RightClickedTabBar");
    contextTabIndex = index;
    QMenu menu(this);
    connect(menu.addAction(tr("add page")), &QAction::triggered, this, &MainWindow::AddTab);
    connect(menu.addAction(tr("duplicate page")), &QAction::triggered, this, &MainWindow::DuplicateTab);
    connect(menu.addAction(tr("rename page")), &QAction::triggered, this, &MainWindow::RenameTab);
    menu.addSeparator();
    connect(menu.addAction(tr("delete page")), &QAction::triggered, this, &MainWindow::RemoveTab);
    menu.exec(QCursor::pos());
}

bool MainWindow::RoomForAnotherPage()
{
    if (ui->tabWidget->count() < PageLimits::kMaxPages)
        return true;
    ShowWarningBox(this, tr("You can only add up to %1 pages.").arg(PageLimits::kMaxPages));
    return false;
}

void MainWindow::AddTab()
{
    OperationMarker marker("AddTab");
    if (!IsValidTabIndex(contextTabIndex) || !RoomForAnotherPage())
        return;
    QString name = tr("New Page");
    if (PageNameDialog(name, contextTabIndex, false, tr("追加"), tr("キャンセル")))
        CreateTab(contextTabIndex, name, false);
}

void MainWindow::DuplicateTab()
{
    OperationMarker marker("DuplicateTab");
    if (!IsValidTabIndex(contextTabIndex) || !RoomForAnotherPage())
        return;
    const int source = contextTabIndex;
    QString name = ui->tabWidget->tabText(source) + tr("-copy");
    if (!PageNameDialog(name, source, false, tr("複製"), tr("キャンセル")))
        return;

    // The whole page goes over, stamp included: a duplicate is a starting point for a variant.
    PageSettingsRecord record;
    PageRecordAt(source, record);
    const TabTemplate* from = GetPageForm(source);
    if (from->ui->listWidget->currentRow() >= 0)
        record.viewListNum = from->ui->listWidget->currentRow();
    QStringList inputItems, outputItems;
    for (int i = 0; i < from->ui->inputLineEdit->count(); ++i)
        inputItems.append(from->ui->inputLineEdit->itemText(i));
    for (int i = 0; i < from->ui->outputLineEdit->count(); ++i)
        outputItems.append(from->ui->outputLineEdit->itemText(i));

    TabTemplate* copy = CreateTab(source, name, record.checked);
    LoadPageToForm(source + 1, record);
    // The source's folder lists may hold entries typed since the histories were last filled.
    const auto replaceItems = [](QComboBox* box, const QStringList& items) {
        const QString text = box->currentText();
        box->clear();
        box->addItems(items);
        box->setCurrentText(text);
    };
    replaceItems(copy->ui->inputLineEdit, inputItems);
    replaceItems(copy->ui->outputLineEdit, outputItems);
}

void MainWindow::RenameTab()
{
    OperationMarker marker("RenameTab");
    if (!IsValidTabIndex(contextTabIndex))
        return;
    QString name = ui->tabWidget->tabText(contextTabIndex);
    if (PageNameDialog(name, contextTabIndex, true, tr("保存"), tr("キャンセル")))
        SetTabName(contextTabIndex, name);
}

void MainWindow::RemoveTab()
{
    OperationMarker marker("RemoveTab");
    if (ui->tabWidget->count() < 2) {
        ShowWarningBox(this, tr("Can't delete all pages"));
        return;
    }
    if (!IsValidTabIndex(contextTabIndex))
        return;
    if (!AskYesNo(tr("Delete Page!\npage name : ") + ui->tabWidget->tabText(contextTabIndex), QMessageBox::Warning))
        return;

    QWidget* page = ui->tabWidget->widget(contextTabIndex);
    for (qsizetype i = 0; i < pageEntries.size(); ++i) {
        if (pageEntries.at(i).page == page) {
            pageEntries.removeAt(i);
            break;
        }
    }
    ui->tabWidget->removeTab(contextTabIndex);
    // The form goes with its page widget, and with it every connection it had.
    delete page;
    UpdateLampIcons();
}

void MainWindow::on_pushButton_clicked()
{
    OperationMarker marker("on_pushButton_clicked current");
    const int current = ui->tabWidget->currentIndex();
    if (!GetPageForm(current))
        return;
    const QString question =
        QStringLiteral("[ ") + ui->tabWidget->tabText(current) + QStringLiteral(" ]\n") + tr("Page is Initialization");
    if (AskYesNo(question, QMessageBox::Warning))
        Initialization(current);
}

void MainWindow::on_tabWidget_currentChanged(int index)
{
    if (!ui)
        return;
    if (TabTemplate* form = GetPageForm(index))
        form->RefreshHistoryCombos(histories);
    UpdateLampIcons();
}

bool MainWindow::IsBatchMode() const
{
    for (int i = 0; i < ui->tabWidget->count(); ++i)
        if (TabChecked(i))
            return true;
    return false;
}

void MainWindow::UpdateLampIcons()
{
    if (!tabBar)
        return;
    const bool batch = IsBatchMode();
    const int current = ui->tabWidget->currentIndex();
    const QIcon lit(kLampLit);
    const QIcon unlit(kLampUnlit);
    for (int i = 0; i < ui->tabWidget->count(); ++i) {
        const bool on = batch ? TabChecked(i) : i == current;
        ui->tabWidget->setTabIcon(i, on ? lit : unlit);
        if (TabTemplate* form = GetPageForm(i))
            form->ui->stackedWidget->setEnabled(detailsOpen && i == current);
    }
    ui->tabWidget->setIconSize(kLampSize);
    ui->pushButtonBatch->setIcon(batch ? lit : unlit);
    ui->pushButtonBatch->setIconSize(kLampSize);
}

QList<QPair<QString, bool>> MainWindow::BatchPages() const
{
    QList<QPair<QString, bool>> pages;
    for (int i = 0; i < ui->tabWidget->count(); ++i)
        pages.append({ui->tabWidget->tabText(i), TabChecked(i)});
    return pages;
}

bool MainWindow::ApplyBatchSelection(const QList<QPair<QString, bool>>& pages)
{
    if (pages.size() != ui->tabWidget->count()) {
        qCritical() << "data size wrong";
        return false;
    }
    for (int i = 0; i < pages.size(); ++i)
        tabBar->setTabData(i, pages.at(i).second);
    UpdateLampIcons();
    return true;
}
