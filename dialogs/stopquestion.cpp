#include "dialogs/stopquestion.h"

#include <QCoreApplication>
#include <QDialog>
#include <QMessageBox>
#include <QPushButton>

void StopQuestion::SetButtonTexts(const QString& yes, const QString& no)
{
    yesText = yes;
    noText = no;
}

bool StopQuestion::Ask(QDialog* dialog, QPushButton* stopButton)
{
    // Each dialog keeps its own catalogue entries for the question.
    const char* context = dialog->metaObject()->className();
    flags.SetQuestionShowing(true);
    QMessageBox box(QMessageBox::Warning, QStringLiteral("Dravik for Desktop"),
                    QCoreApplication::translate(context, "Do you want to cancel?"),
                    QMessageBox::NoButton, dialog);
    QPushButton* yes = box.addButton(yesText, QMessageBox::YesRole);
    QPushButton* no = box.addButton(noText, QMessageBox::NoRole);
    box.setDefaultButton(no);
    box.exec();
    const bool stop = box.clickedButton() == yes;
    if (stop) {
        flags.SetCancel(true);
        stopButton->setText(QCoreApplication::translate(context, "中断処理中…"));
        stopButton->setEnabled(false);
    }
    flags.SetQuestionShowing(false);
    return stop;
}
