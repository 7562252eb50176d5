#include "dialogs/progressbardialog.h"
#include "ui_progressbardialog.h"

#include "pipeline/timeleft.h"

#include <QFontMetrics>
#include <QLabel>
#include <QMetaObject>
#include <QThread>

namespace {

const QString kTitle = QStringLiteral("Dravik for Desktop");

// Long paths lose their middle: the start names the folder, the end names the file. The whole
// path stays one hover away.
void SetElided(QLabel* label, const QString& name)
{
    const QFontMetrics metrics(label->font());
    label->setText(metrics.elidedText(name, Qt::ElideMiddle, label->width() - 2));
    label->setToolTip(name);
}

} // namespace

// Workers call the setters from their threads; widgets may only be touched on the dialog's.
// Off that thread a setter re-posts itself by name and returns at once.
#define DK_FORWARD_TO_DIALOG_THREAD(method, ...)                                                 \
    if (QThread::currentThread() != thread()) {                                                   \
        QMetaObject::invokeMethod(this, method, Qt::QueuedConnection, __VA_ARGS__);               \
        return;                                                                                   \
    }

ProgressBarDialog::ProgressBarDialog(QWidget* parent, bool batch)
    : QDialog(parent), ui(new Ui::ProgressBarDialog), batchMode(batch)
{
    ui->setupUi(this);
    ui->progressBar_2->setVisible(batchMode);
    resize(543, 198);
    // Without the batch bar the form is shorter than the size it is fixed at; the spacer
    // above the paths takes the difference.
    setFixedSize(size());
    setWindowTitle(kTitle);
    setWindowFlags(Qt::Window | Qt::WindowTitleHint);
    connect(this, &ProgressBarDialog::ProgressEnd, this, &ProgressBarDialog::ProgressDone);
    connect(this, &ProgressBarDialog::SetFraction, this, &ProgressBarDialog::SetFractionSlot);
    SetWholeElapsedTime(0, 0, 0);
}

ProgressBarDialog::~ProgressBarDialog()
{
    DetachUpdates();
    guard.Finish();
    delete ui;
}

void ProgressBarDialog::SetQuestionButtonTexts(const QString& yes, const QString& no)
{
    question.SetButtonTexts(yes, no);
}

void ProgressBarDialog::StartTimer()
{
    elapsedTimer.start();
    connect(&secondTimer, &QTimer::timeout, this, &ProgressBarDialog::CallbackEverySecond,
            Qt::UniqueConnection);
    secondTimer.start(1000);
}

qint64 ProgressBarDialog::ElapsedMs() const
{
    return elapsedTimer.isValid() ? elapsedTimer.elapsed() : 0;
}

QString ProgressBarDialog::ElapsedText() const
{
    return FormatSeconds(ElapsedMs() / 1000);
}

bool ProgressBarDialog::IsContinue() const
{
    return question.flags.IsContinue();
}

void ProgressBarDialog::SetCancel(bool cancel)
{
    question.flags.SetCancel(cancel);
}

bool ProgressBarDialog::IsQuestionShowing() const
{
    return question.flags.IsQuestionShowing();
}

void ProgressBarDialog::WaitWhileQuestionShowing() const
{
    question.flags.WaitWhileQuestionShowing();
}

void ProgressBarDialog::SetProgress(int percent)
{
    DK_FORWARD_TO_DIALOG_THREAD("SetProgress", Q_ARG(int, percent));
    ui->progressLabel->setText(QString::number(percent));
}

void ProgressBarDialog::SetInputFileName(const QString& name)
{
    DK_FORWARD_TO_DIALOG_THREAD("SetInputFileName", Q_ARG(QString, name));
    SetElided(ui->labelInputPath, name);
}

void ProgressBarDialog::SetOutputFileName(const QString& name)
{
    DK_FORWARD_TO_DIALOG_THREAD("SetOutputFileName", Q_ARG(QString, name));
    SetElided(ui->labelOutputPath, name);
}

void ProgressBarDialog::SetProgressBatch(int percent)
{
    DK_FORWARD_TO_DIALOG_THREAD("SetProgressBatch", Q_ARG(int, percent));
    ui->progressBar_2->setValue(percent);
}

void ProgressBarDialog::SetDenominator(int count)
{
    DK_FORWARD_TO_DIALOG_THREAD("SetDenominator", Q_ARG(int, count));
    ui->fileMaxCoutLabel->setText(QString::number(count));
}

void ProgressBarDialog::SetMaxProgress(const int count)
{
    DK_FORWARD_TO_DIALOG_THREAD("SetMaxProgress", Q_ARG(int, count));
    ui->progressBar->setMaximum(count);
}

void ProgressBarDialog::SetTimeLeft(int hh, int mm, int ss)
{
    DK_FORWARD_TO_DIALOG_THREAD("SetTimeLeft", Q_ARG(int, hh), Q_ARG(int, mm), Q_ARG(int, ss));
    ui->timeLeftLabel->setText(FormatTime(hh, mm, ss));
}

void ProgressBarDialog::SetWholeElapsedTime(int hh, int mm, int ss)
{
    DK_FORWARD_TO_DIALOG_THREAD("SetWholeElapsedTime", Q_ARG(int, hh), Q_ARG(int, mm),
                                Q_ARG(int, ss));
    ui->elapsedTimeLabel->setText(FormatTime(hh, mm, ss));
}

#undef DK_FORWARD_TO_DIALOG_THREAD

void ProgressBarDialog::SetFractionSlot(const int value)
{
    // Disconnecting does not recall updates already queued by workers before the end.
    if (guard.Finished())
        return;
    ui->progressBar->setValue(value);
    ui->fileNowCountLabel->setText(QString::number(value));
}

void ProgressBarDialog::CallbackEverySecond()
{
    const qint64 s = ElapsedMs() / 1000;
    SetWholeElapsedTime(int(s / 3600), int((s / 60) % 60), int(s % 60));
}

void ProgressBarDialog::on_pushButton_clicked()
{
    if (guard.Finished()) {
        DetachUpdates();
        accept();
        return;
    }
    question.Ask(this, ui->pushButton);
}

void ProgressBarDialog::ProgressDone()
{
    DetachUpdates();
    accept();
    guard.Finish();
}

void ProgressBarDialog::DetachUpdates()
{
    disconnect(&secondTimer, &QTimer::timeout, this, &ProgressBarDialog::CallbackEverySecond);
    secondTimer.stop();
    disconnect(this, &ProgressBarDialog::SetFraction, this, &ProgressBarDialog::SetFractionSlot);
}
