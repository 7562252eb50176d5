#pragma once

// Answers the modal message boxes that a test provokes: records each box's text and presses the
// chosen button, so a test sees what the user would have seen and never waits for a click.

#include <QAbstractButton>
#include <QApplication>
#include <QMessageBox>
#include <QObject>
#include <QStringList>
#include <QTimer>
#include <QWidget>

class ModalCloser : public QObject
{
public:
    explicit ModalCloser(QMessageBox::StandardButton answer = QMessageBox::Ok) : answer(answer)
    {
        timer.setInterval(20);
        connect(&timer, &QTimer::timeout, this, [this] { Poll(); });
        timer.start();
    }

    QStringList texts;
    QStringList titles;
    QStringList buttonTexts; // every button's text of every box, in order

private:
    void Poll()
    {
        auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
        if (!box || !box->isVisible())
            return;
        texts.append(box->text());
        titles.append(box->windowTitle());
        for (QAbstractButton* button : box->buttons())
            buttonTexts.append(button->text());
        QAbstractButton* chosen = box->button(answer);
        if (!chosen)
            chosen = box->buttons().value(0);
        chosen->click();
    }

    QMessageBox::StandardButton answer;
    QTimer timer;
};
