#include "app/aboutdialog.h"
#include "ui_aboutdialog.h"

#include "mainwindow/manualpage.h"

#include <QCloseEvent>
#include <QDebug>
#include <QKeyEvent>
#include <QMessageBox>
#include <QShowEvent>
#include <QUrl>

namespace {
// The product page is the section of the shipped manual that introduces the program, so the
// logo works without a network.
const QString kProductAnchor = QStringLiteral("about");
} // namespace

AboutDialog::AboutDialog(QWidget* parent) : QDialog(parent), ui(new Ui::AboutDialog)
{
    ui->setupUi(this);
    setFixedSize(size());
    ui->label_6->SetHandCursor(true);
    connect(ui->label_6, &DK_Label::clicked, this, &AboutDialog::OpenProductPage);
}

AboutDialog::~AboutDialog()
{
    delete ui;
}

QUrl AboutDialog::ProductPageUrl()
{
    return ManualPageUrl(kProductAnchor);
}

void AboutDialog::showEvent(QShowEvent* event)
{
    QDialog::showEvent(event);
    if (firstShowDone)
        return;
    firstShowDone = true;
    ui->label_4->setText(QStringLiteral("Version %1").arg(QStringLiteral(DRAVIK_APP_VERSION)));
    ui->label_5->setText(QStringLiteral("Version %1").arg(engineVersion));
}

bool AboutDialog::OpenProductPage(QPoint pos, bool rightClick)
{
    Q_UNUSED(pos);
    Q_UNUSED(rightClick);
    if (!OpenManualPage(kProductAnchor)) {
        QMessageBox box(QMessageBox::Warning, QStringLiteral("Dravik for Desktop"), tr("URLを開くことができませんでした。"),
                        QMessageBox::Ok);
        box.exec();
    }
    return true;
}

void AboutDialog::on_pushButton_clicked()
{
    accept();
}

void AboutDialog::closeEvent(QCloseEvent* event)
{
    if (ui->pushButton->isEnabled())
        event->accept();
    else
        event->ignore();
}

void AboutDialog::keyPressEvent(QKeyEvent* event)
{
    // Only Escape closes; Enter and the rest must not close the dialog behind the user's back.
    if (event->key() == Qt::Key_Escape && ui->pushButton->isEnabled()) {
        reject();
        return;
    }
    event->ignore();
}
