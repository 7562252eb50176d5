#pragma once

// Plays the user's part in the modal dialogs and popup menus a test provokes, one scripted
// answer per window in the order they appear, and records what each showed. A window that
// appears when the script is used up, or of another kind than the answer expects, is closed
// and counted as unexpected, so a test never hangs and never passes by accident.

#include <QAbstractButton>
#include <QApplication>
#include <QDialogButtonBox>
#include <QFileDialog>
#include <QInputDialog>
#include <QLineEdit>
#include <QMenu>
#include <QMessageBox>
#include <QPointer>
#include <QTest>
#include <QTimer>

#include <functional>

class ModalScript : public QObject
{
public:
    // The newest script answers; an older one still in scope waits until the newer one goes.
    ModalScript() : previous(newest)
    {
        newest = this;
        connect(&timer, &QTimer::timeout, this, &ModalScript::Poll);
        timer.start(20);
    }
    ~ModalScript() override { newest = previous; }

    // A message box: press the button (a box with one button: that one).
    ModalScript& Box(QMessageBox::StandardButton button = QMessageBox::Ok)
    {
        return Add([this, button](QWidget* window) {
            auto* box = qobject_cast<QMessageBox*>(window);
            QAbstractButton* chosen = !box ? nullptr : box->buttons().size() == 1 ? box->buttons().first() : box->button(button);
            if (chosen) {
                Record(box->text(), box->buttons());
                titles.append(box->windowTitle());
                chosen->click();
            }
            return chosen != nullptr;
        });
    }
    // The name dialog: type over its text and press Enter.
    ModalScript& Name(const QString& typed)
    {
        return Add([this, typed](QWidget* window) {
            auto* dialog = qobject_cast<QInputDialog*>(window);
            if (dialog) {
                Record(dialog->textValue(), dialog->findChild<QDialogButtonBox*>()->buttons());
                auto* edit = dialog->findChild<QLineEdit*>();
                edit->selectAll();
                QTest::keyClicks(edit, typed);
                QTest::keyClick(edit, Qt::Key_Return);
            }
            return dialog != nullptr;
        });
    }
    ModalScript& Menu(const QString& entry)
    {
        return Add([entry](QWidget* window) {
            auto* menu = qobject_cast<QMenu*>(window);
            for (QAction* action : menu ? menu->actions() : QList<QAction*>()) {
                if (action->text() == entry) {
                    menu->setActiveAction(action);
                    QTest::keyClick(menu, Qt::Key_Return);
                    return true;
                }
            }
            return false;
        });
    }
    // A file dialog: the path typed into its name box, as a user would (a file that does not exist
    // yet cannot be selected).
    ModalScript& File(const QString& path)
    {
        return Add([this, path](QWidget* window) {
            auto* dialog = qobject_cast<QFileDialog*>(window);
            auto* nameBox = dialog ? dialog->findChild<QLineEdit*>(QStringLiteral("fileNameEdit")) : nullptr;
            if (nameBox) {
                Record(dialog->windowTitle(), {});
                dialog->setDirectory(QFileInfo(path).absolutePath());
                nameBox->setText(QFileInfo(path).fileName());
                static_cast<QDialog*>(dialog)->accept();
            }
            return nameBox != nullptr;
        });
    }

    bool Done() const { return steps.isEmpty() && unexpected == 0; }
    // For a failed Done(): what was seen and what is left.
    QByteArray Report() const
    {
        return QStringLiteral("seen %1; unexpected %2; answers left %3").arg(texts.join(u'|')).arg(unexpected).arg(steps.size()).toUtf8();
    }

    QStringList texts;       // each window's text (a box's message, a name dialog's text, a file dialog's title)
    QStringList buttonTexts; // every button of every box and name dialog, in order
    QStringList titles;      // each message box's title
    int unexpected = 0;

private:
    using Step = std::function<bool(QWidget*)>;
    ModalScript& Add(Step step)
    {
        steps.append(std::move(step));
        return *this;
    }
    void Record(const QString& text, const QList<QAbstractButton*>& buttons)
    {
        texts.append(text);
        for (QAbstractButton* b : buttons)
            buttonTexts.append(b->text());
    }

    void Poll()
    {
        QWidget* window = QApplication::activePopupWidget() ? QApplication::activePopupWidget() : QApplication::activeModalWidget();
        if (newest != this || !window || !window->isVisible() || window == handled)
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

    static inline ModalScript* newest = nullptr;
    ModalScript* previous = nullptr;
    QList<Step> steps;
    QPointer<QWidget> handled;
    QTimer timer;
};
