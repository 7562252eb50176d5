// Temporary bodies so the drivers can link while the dialogs are filled in.
#include "dialogs/batchsettingdialog.h"
#include "dialogs/conflictdialog.h"
#include "dialogs/marqueeprogressbar.h"
#include "dialogs/mytreewidget.h"
#include "dialogs/progressbardialog.h"
#include "dialogs/resultdialog.h"

#include <QMouseEvent>

ProgressBarDialog::ProgressBarDialog(QWidget* parent, bool batch) : QDialog(parent), batchMode(batch) {}
ProgressBarDialog::~ProgressBarDialog() = default;
void ProgressBarDialog::SetQuestionButtonTexts(const QString& yes, const QString& no) { yesText = yes; noText = no; }
void ProgressBarDialog::StartTimer() { elapsedTimer.start(); }
qint64 ProgressBarDialog::ElapsedMs() const { return elapsedTimer.isValid() ? elapsedTimer.elapsed() : 0; }
QString ProgressBarDialog::ElapsedText() const { return {}; }
bool ProgressBarDialog::IsContinue() const { return flags.IsContinue(); }
void ProgressBarDialog::SetCancel(bool cancel) { flags.SetCancel(cancel); }
bool ProgressBarDialog::IsQuestionShowing() const { return flags.IsQuestionShowing(); }
void ProgressBarDialog::WaitWhileQuestionShowing() const { flags.WaitWhileQuestionShowing(); }
void ProgressBarDialog::SetProgress(int) {}
void ProgressBarDialog::SetInputFileName(const QString&) {}
void ProgressBarDialog::SetOutputFileName(const QString&) {}
void ProgressBarDialog::SetProgressBatch(int) {}
void ProgressBarDialog::SetDenominator(int) {}
void ProgressBarDialog::SetMaxProgress(const int) {}
void ProgressBarDialog::SetTimeLeft(int, int, int) {}
void ProgressBarDialog::SetFractionSlot(const int) {}
void ProgressBarDialog::on_pushButton_clicked() {}
void ProgressBarDialog::ProgressDone() { accept(); }
void ProgressBarDialog::SetWholeElapsedTime(int, int, int) {}
void ProgressBarDialog::CallbackEverySecond() {}
void ProgressBarDialog::closeEvent(QCloseEvent* e) { QDialog::closeEvent(e); }
void ProgressBarDialog::keyPressEvent(QKeyEvent* e) { QDialog::keyPressEvent(e); }
void ProgressBarDialog::DetachUpdates() {}

MarqueeProgressBar::MarqueeProgressBar(QWidget* parent) : QDialog(parent) {}
MarqueeProgressBar::~MarqueeProgressBar() = default;
void MarqueeProgressBar::SetQuestionButtonTexts(const QString& yes, const QString& no) { yesText = yes; noText = no; }
bool MarqueeProgressBar::IsContinue() const { return flags.IsContinue(); }
bool MarqueeProgressBar::IsQuestionShowing() const { return flags.IsQuestionShowing(); }
void MarqueeProgressBar::WaitWhileQuestionShowing() const { flags.WaitWhileQuestionShowing(); }
void MarqueeProgressBar::ShowRefusal(const QString&) {}
void MarqueeProgressBar::on_pushButton_clicked() {}
void MarqueeProgressBar::ProgressEnd() { accept(); }
void MarqueeProgressBar::closeEvent(QCloseEvent* e) { QDialog::closeEvent(e); }
void MarqueeProgressBar::keyPressEvent(QKeyEvent* e) { QDialog::keyPressEvent(e); }

ResultDialog::ResultDialog(QWidget* parent, bool batch) : QDialog(parent), batchMode(batch) {}
ResultDialog::~ResultDialog() = default;
void ResultDialog::BuildSummary(const ResultData&) {}
void ResultDialog::on_pushButton_clicked() {}
void ResultDialog::on_pushButton_2_clicked() { accept(); }
void ResultDialog::on_pushButton_3_clicked() {}
void ResultDialog::slotFolderOpen() {}
void ResultDialog::showEvent(QShowEvent* e) { QDialog::showEvent(e); }
void ResultDialog::OpenSingleOutputFolder() {}
void ResultDialog::PopUpFolderMenu() {}

MyTreeWidget::MyTreeWidget(QWidget* parent) : QTreeWidget(parent) {}
void MyTreeWidget::mouseReleaseEvent(QMouseEvent* e) { QTreeWidget::mouseReleaseEvent(e); }
void MyTreeWidget::mouseDoubleClickEvent(QMouseEvent* e) { QTreeWidget::mouseDoubleClickEvent(e); }
void MyTreeWidget::mouseMoveEvent(QMouseEvent* e) { QTreeWidget::mouseMoveEvent(e); }

BatchSettingDialog::BatchSettingDialog(QWidget* parent) : QDialog(parent) {}
BatchSettingDialog::~BatchSettingDialog() = default;
bool BatchSettingDialog::slotLeftClicked(const QPoint&) { return false; }
bool BatchSettingDialog::slotLeftDoubleClicked(const QPoint&) { return false; }
void BatchSettingDialog::on_pushButton_clicked() { accept(); }
void BatchSettingDialog::on_pushButton_2_clicked() { reject(); }
void BatchSettingDialog::showEvent(QShowEvent* e) { QDialog::showEvent(e); }
void BatchSettingDialog::BuildTree() {}
QTreeWidgetItem* BatchSettingDialog::Root() const { return nullptr; }
int BatchSettingDialog::CheckedChildren() const { return 0; }
void BatchSettingDialog::ApplyToggle(QTreeWidgetItem*) {}

ConflictDialog::ConflictDialog(QWidget* parent) : QDialog(parent) {}
ConflictDialog::~ConflictDialog() = default;
void ConflictDialog::SetConflicts(const QStringList&) {}
void ConflictDialog::on_pushButton_2_clicked() { accept(); }

QString FormatByteSize(quint64, bool) { return {}; }
