#pragma once

// Plays the user's part in the modal dialogs and popup menus a test provokes, one scripted
// answer per window in the order they appear, and records what each showed. A window that
// appears when the script is used up, or of another kind than the answer expects, is closed
// and counted as unexpected, so a test never hangs and never passes by accident.

#include <QAbstractButton>
#include <QAction>
#include <QApplication>
#include <QDialogButtonBox>
#include <QFileDialog>
#include <QFileInfo>
#include <QInputDialog>
#include <QLineEdit>
#include <QMenu>
#include <QMessageBox>
#include <QPointer>
#include <QPushButton>
#include <QTest>
#include <QTimer>

#include <functional>

class ModalScript : public QObject
{
public:
    // The newest script answers; an older one still in scope waits until the newer one goes.
    ModalScript() : previous(Newest())
    {
        Newest() = this;
        timer.setInterval(20);
        connect(&timer, &QTimer::timeout, this, [this] { Poll(); });
        timer.start();
    }

    ~ModalScript() override { Newest() = previous; }

    // A message box: record its text and buttons, press the button.
    ModalScript& Box(QMessageBox::StandardButton button = QMessageBox::Ok)
    {
        return Add([this, button](QWidget* window) {
            auto* box = qobject_cast<QMessageBox*>(window);
            if (!box)
                return false;
            texts.append(box->text());
            for (QAbstractButton* b : box->buttons())
                buttonTexts.append(b->text());
            // The standard warning box has one button of its own making.
            QAbstractButton* chosen = box->button(button);
            if (!chosen && box->buttons().size() == 1)
                chosen = box->buttons().first();
            if (!chosen)
                return false;
            chosen->click();
            return true;
        });
    }
    // A message box answered with the keyboard's Enter, as a hasty user would.
    ModalScript& BoxEnter()
    {
        return Add([this](QWidget* window) {
            auto* box = qobject_cast<QMessageBox*>(window);
            if (!box)
                return false;
            texts.append(box->text());
            QTest::keyClick(box, Qt::Key_Return);
            return true;
        });
    }
    // The name dialog: record its text and buttons, type text over it and press Enter (accept)
    // or press its cancel button.
    ModalScript& Name(const QString& typed, bool accept = true)
    {
        return Add([this, typed, accept](QWidget* window) {
            auto* dialog = qobject_cast<QInputDialog*>(window);
            auto* edit = dialog ? dialog->findChild<QLineEdit*>() : nullptr;
            if (!edit)
                return false;
            texts.append(dialog->textValue());
            for (QAbstractButton* b : dialog->findChild<QDialogButtonBox*>()->buttons())
                buttonTexts.append(b->text());
            if (!accept) {
                dialog->findChild<QDialogButtonBox*>()->button(QDialogButtonBox::Cancel)->click();
                return true;
            }
            edit->selectAll();
            QTest::keyClicks(edit, typed);
            QTest::keyClick(edit, Qt::Key_Return);
            return true;
        });
    }
    ModalScript& Menu(const QString& actionText)
    {
        return Add([actionText](QWidget* window) {
            auto* menu = qobject_cast<QMenu*>(window);
            if (!menu)
                return false;
            for (QAction* action : menu->actions()) {
                if (action->text() == actionText) {
                    menu->setActiveAction(action);
                    QTest::keyClick(menu, Qt::Key_Return);
                    return true;
                }
            }
            return false;
        });
    }
    // A file dialog: choose path, or cancel when path is empty.
    ModalScript& File(const QString& path)
    {
        return Add([this, path](QWidget* window) {
            auto* dialog = qobject_cast<QFileDialog*>(window);
            if (!dialog)
                return false;
            texts.append(dialog->windowTitle());
            if (path.isEmpty()) {
                dialog->reject();
            } else {
                // Typed into the name box, as a user would: selecting a file that does not exist yet
                // is not taken from a path.
                dialog->setDirectory(QFileInfo(path).absolutePath());
                auto* nameBox = dialog->findChild<QLineEdit*>(QStringLiteral("fileNameEdit"));
                if (!nameBox)
                    return false;
                nameBox->setText(QFileInfo(path).fileName());
                static_cast<QDialog*>(dialog)->accept();
            }
            return true;
        });
    }

    bool Done() const { return steps.isEmpty() && unexpected == 0; }
    // For a failed Done(): what was seen and what is left.
    QByteArray Report() const
    {
        return QStringLiteral("seen %1; unexpected windows %2; answers left %3")
            .arg(texts.join(QStringLiteral(" | ")))
            .arg(unexpected)
            .arg(steps.size())
            .toUtf8();
    }

    QStringList texts;       // each window's text (a box's message, a name dialog's text, a file dialog's title)
    QStringList buttonTexts; // every button of every box and name dialog, in order
    int unexpected = 0;

private:
    using Step = std::function<bool(QWidget*)>;
    ModalScript& Add(Step step)
    {
        steps.append(std::move(step));
        return *this;
    }

    static ModalScript*& Newest()
    {
        static ModalScript* newest = nullptr;
        return newest;
    }

    void Poll()
    {
        if (Newest() != this)
            return;
        QWidget* window = QApplication::activePopupWidget();
        if (!window)
            window = QApplication::activeModalWidget();
        if (!window || !window->isVisible() || window == handled)
            return;
        handled = window;
        // Answered from the event loop, not from this timer: an answer may open the next window,
        // and a timer is never called again while its own call is running.
        QTimer::singleShot(0, this, [this, target = QPointer<QWidget>(window)] {
            if (!target)
                return;
            // Taken off first: the answer may run the next windows before it returns.
            const Step step = steps.isEmpty() ? Step() : steps.takeFirst();
            if (!step || !step(target)) {
                ++unexpected;
                target->close();
            }
        });
    }

    QList<Step> steps;
    ModalScript* previous = nullptr;
    QPointer<QWidget> handled;
    QTimer timer;
};
