#include "dialogs/marqueeprogressbar.h"
#include "ui_marqueeprogressbar.h"

#include "validation/warningbox.h"

#include <QCloseEvent>
#include <QKeyEvent>
#include <QMessageBox>
#include <QPushButton>

MarqueeProgressBar::MarqueeProgressBar(QWidget* parent)
    : QDialog(parent), ui(new Ui::MarqueeProgressBar)
{
    ui->setupUi(this);
    setWindowFlags(Qt::Window | Qt::WindowTitleHint);
    connect(this, &MarqueeProgressBar::ProgressDone, this, &MarqueeProgressBar::ProgressEnd);
}

MarqueeProgressBar::~MarqueeProgressBar()
{
    finished = true;
    delete ui;
}

void MarqueeProgressBar::SetQuestionButtonTexts(const QString& yes, const QString& no)
{
    yesText = yes;
    noText = no;
}

bool MarqueeProgressBar::IsContinue() const
{
    return flags.IsContinue();
}

bool MarqueeProgressBar::IsQuestionShowing() const
{
    return flags.IsQuestionShowing();
}

void MarqueeProgressBar::WaitWhileQuestionShowing() const
{
    flags.WaitWhileQuestionShowing();
}

void MarqueeProgressBar::ShowRefusal(const QString& message)
{
    // Blocks the search until the user has read the refusal, as a check on the
    // user-interface thread would.
    ShowWarningBox(this, message);
}

void MarqueeProgressBar::ProgressEnd()
{
    accept();
    finished = true;
}

void MarqueeProgressBar::on_pushButton_clicked()
{
    if (finished) {
        emit ProgressDone();
        return;
    }
    flags.SetQuestionShowing(true);
    QMessageBox box(QMessageBox::Warning, QStringLiteral("Dravik for Desktop"),
                    tr("Do you want to cancel?"), QMessageBox::NoButton, this);
    QPushButton* yes = box.addButton(yesText, QMessageBox::YesRole);
    QPushButton* no = box.addButton(noText, QMessageBox::NoRole);
    box.setDefaultButton(no);
    box.exec();
    if (box.clickedButton() == yes) {
        ui->pushButton->setText(tr("中断処理中…"));
        ui->pushButton->setEnabled(false);
        // The stop is set before the question closes, so a woken search sees it at once.
        flags.SetCancel(true);
        flags.SetQuestionShowing(false);
        // The search may have ended while the question was open; its end was then already
        // delivered and nothing else would close the window.
        if (finished)
            emit ProgressDone();
    }
    flags.SetQuestionShowing(false);
}

void MarqueeProgressBar::closeEvent(QCloseEvent* event)
{
    if (!finished) {
        event->ignore();
        return;
    }
    QDialog::closeEvent(event);
}

void MarqueeProgressBar::keyPressEvent(QKeyEvent* event)
{
    // Escape would reject the window while the search still runs.
    if (event->key() == Qt::Key_Escape) {
        event->accept();
        return;
    }
    QDialog::keyPressEvent(event);
}
