#include "dialogs/resultdialog.h"
#include "ui_resultdialog.h"

#include "dialogs/resultsummary.h"
#include "dialogs/textlines.h"
#include "pipeline/runrecords.h"

#include <QAction>
#include <QClipboard>
#include <QDesktopServices>
#include <QDir>
#include <QGuiApplication>
#include <QKeySequence>
#include <QMenu>
#include <QMessageBox>
#include <QShowEvent>
#include <QUrl>

namespace {

const QString kTitle = QStringLiteral("Dravik for Desktop");

void OpenInFileManager(const QString& folder)
{
    QDesktopServices::openUrl(QUrl::fromLocalFile(folder));
}

void ShowWarning(const QString& message)
{
    QMessageBox box(QMessageBox::Warning, kTitle, message, QMessageBox::Ok);
    box.exec();
}

} // namespace

ResultDialog::ResultDialog(QWidget* parent, bool batch)
    : QDialog(parent), ui(new Ui::ResultDialog), batchMode(batch)
{
    ui->setupUi(this);
    setWindowTitle(kTitle);
    ui->pushButton->setShortcut(QKeySequence(Qt::ALT | Qt::Key_O));
    if (batchMode)
        ui->label->setText(tr("一括処理結果 :"));
}

ResultDialog::~ResultDialog()
{
    delete ui;
}

void ResultDialog::BuildSummary(const ResultData& result)
{
    ui->textBrowser->setPlainText(SummaryText(result));
    AppendPlainLines(ui->textEdit, result.failedFiles);
}

void ResultDialog::on_pushButton_clicked()
{
    if (batchMode)
        PopUpFolderMenu();
    else
        OpenSingleOutputFolder();
}

void ResultDialog::OpenSingleOutputFolder()
{
    if (outputFolder.isEmpty()) {
        ShowWarning(tr("出力フォルダーのパスが指定されていません。"));
        return;
    }
    if (!QDir(outputFolder).exists()) {
        ShowWarning(tr("出力フォルダーを見つけることができませんでした。\nPath : ") + outputFolder);
        return;
    }
    OpenInFileManager(outputFolder);
}

void ResultDialog::PopUpFolderMenu()
{
    QMenu menu(this);
    for (const auto& [name, folder] : folderList) {
        QAction* entry = menu.addAction(name);
        entry->setData(folder);
        entry->setEnabled(!folder.isEmpty());
        connect(entry, &QAction::triggered, this, &ResultDialog::slotFolderOpen);
    }
    QPoint corner = ui->pushButton->pos();
    corner.setX(corner.x() + ui->pushButton->width());
    menu.exec(ui->pushButton->parentWidget()->mapToGlobal(corner));
}

void ResultDialog::slotFolderOpen()
{
    const auto* entry = qobject_cast<QAction*>(sender());
    if (entry != nullptr)
        OpenInFileManager(entry->data().toString());
}

void ResultDialog::on_pushButton_2_clicked()
{
    accept();
}

void ResultDialog::on_pushButton_3_clicked()
{
    const QString failed = ui->textEdit->toPlainText();
    if (failed.isEmpty())
        return;
    QGuiApplication::clipboard()->setText(failed);
    QMessageBox box(QMessageBox::Information, kTitle, tr("クリップボードへコピーしました。"),
                    QMessageBox::Ok, this);
    box.exec();
}

void ResultDialog::showEvent(QShowEvent* event)
{
    QDialog::showEvent(event);
    if (shownOnce)
        return;
    shownOnce = true;
    if (!ui->textEdit->toPlainText().isEmpty())
        return;
    // Nothing failed: the error section goes and the dialog closes the gap it leaves.
    const int gap = ui->pushButton->y() - ui->label_2->y();
    ui->label_2->hide();
    ui->textEdit->hide();
    ui->pushButton_3->hide();
    setMinimumHeight(0);
    setFixedSize(width(), height() - gap);
}
