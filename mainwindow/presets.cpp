// Page presets: the current page written to a file, or replaced by one read from a file.

#include "mainwindow/mainwindow.h"
#include "ui_mainwindow.h"

#include "mainwindow/folderpickers.h"
#include "mainwindow/operationmarker.h"
#include "mainwindow/tabtemplate.h"
#include "settings/settingsstore.h"
#include "validation/warningbox.h"

#include <QDebug>
#include <QFileDialog>

namespace {

const QString kPresetSuffix = QStringLiteral("dkpage");

// Both preset dialogs open at the default start folder.
QString PresetDialogFolder()
{
    QString folder;
    GetFileDialogOpenDir(folder);
    return folder;
}

} // namespace

void MainWindow::ExportPresetData()
{
    OperationMarker marker("ExportPresetData");
    const int current = ui->tabWidget->currentIndex();
    PageSettingsRecord record;
    if (!PageRecordAt(current, record))
        return;

    QFileDialog dialog(this, QStringLiteral("Dravik_") + record.tabName, PresetDialogFolder(),
                       tr("Dravik for Desktopのページ設定 (*.dkpage);;すべてのファイル (*.*)"));
    dialog.setAcceptMode(QFileDialog::AcceptSave);
    // A name typed without an extension still gives a file the import dialog lists.
    dialog.setDefaultSuffix(kPresetSuffix);
    const QString path = dialog.exec() == QDialog::Accepted ? dialog.selectedFiles().value(0) : QString();
    qDebug().noquote() << "filename :" << path;
    if (path.isEmpty())
        return;
    if (!SettingsStore().WritePageFile(record, path))
        ShowWarningBox(this, tr("データの保存に失敗しました。"));
}

void MainWindow::ImportPresetData()
{
    OperationMarker marker("ImportPresetData");
    const QString path =
        QFileDialog::getOpenFileName(this, QString(), PresetDialogFolder(),
                                     tr("Dravik for Desktopのページ設定 (*.dkpage);;すべてのファイル (*.*)"));
    qDebug().noquote() << "dirname :" << path;
    if (path.isEmpty())
        return;

    PageSettingsRecord record;
    switch (SettingsStore().ReadPageFile(record, path)) {
    case SettingsStore::PageFileRead::Read:
        break;
    case SettingsStore::PageFileRead::CannotOpen:
        return;
    case SettingsStore::PageFileRead::NotAPageFile:
        // Refused before the question: a wrong file must never wipe the page.
        ShowWarningBox(this, tr("ページ設定ファイルとして読み込めませんでした。"));
        return;
    }

    const int current = ui->tabWidget->currentIndex();
    if (!GetPageForm(current))
        return;
    const QString question = tr("plase page name : ") + ui->tabWidget->tabText(current)
                             + tr("\nOverwrite page content.\nDo you want to overwrite?");
    if (!AskYesNo(question, QMessageBox::Warning))
        return;

    QString name = record.tabName;
    if (TabNames(current).contains(name)) {
        QMessageBox notice(QMessageBox::Warning, QStringLiteral("Dravik for Desktop"),
                           tr("imported page name : ") + name + tr("\nplease rename"), QMessageBox::Yes, this);
        notice.button(QMessageBox::Yes)->setText(tr("はい"));
        notice.exec();
        if (!PageNameDialog(name, current, true, tr("上書き"), tr("キャンセル")))
            return;
    }

    Initialization(current);
    SetTabName(current, name);
    LoadPageToForm(current, record);
}
