#include "dialogs/marqueeprogressbar.h"
#include "ui_marqueeprogressbar.h"

#include "validation/warningbox.h"

MarqueeProgressBar::MarqueeProgressBar(QWidget* parent)
    : QDialog(parent), ui(new Ui::MarqueeProgressBar)
{
    ui->setupUi(this);
    setWindowFlags(Qt::Window | Qt::WindowTitleHint);
    connect(this, &MarqueeProgressBar::ProgressDone, this, &MarqueeProgressBar::ProgressEnd);
}

MarqueeProgressBar::~MarqueeProgressBar()
{
    guard.Finish();
    delete ui;
}

void MarqueeProgressBar::SetQuestionButtonTexts(const QString& yes, const QString& no)
{
    question.SetButtonTexts(yes, no);
}

bool MarqueeProgressBar::IsContinue() const
{
    return question.flags.IsContinue();
}

bool MarqueeProgressBar::IsQuestionShowing() const
{
    return question.flags.IsQuestionShowing();
}

void MarqueeProgressBar::WaitWhileQuestionShowing() const
{
    question.flags.WaitWhileQuestionShowing();
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
    guard.Finish();
}

void MarqueeProgressBar::on_pushButton_clicked()
{
    if (guard.Finished()) {
        emit ProgressDone();
        return;
    }
    // The search may have ended while the question was open; its end was then already
    // delivered and nothing else would close the window.
    if (question.Ask(this, ui->pushButton) && guard.Finished())
        emit ProgressDone();
}
