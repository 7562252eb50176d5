#pragma once

// Plays the user's part in the modal dialogs and popup menus a test provokes, one scripted
// answer per window in the order they appear, and records what each showed. A window that
// appears when the script is used up, or of another kind than the answer expects, is closed
// and counted as unexpected, so a test never hangs and never passes by accident.

#include <QtTest>
#include <QtWidgets>

#include <functional>

class ModalScript : public QObject
{
public:
    // The newest script answers; an older one still in scope waits until the newer one goes.
    ModalScript() : previous(std::exchange(newest, this))
    {
        connect(&timer, &QTimer::timeout, this, &ModalScript::Poll);
        timer.start(20);
    }
    ~ModalScript() override { newest = previous; }

    // A message box: press the button (a box with one button: that one).
    ModalScript& Box(QMessageBox::StandardButton button = QMessageBox::Ok)
    {
        return On<QMessageBox>([this, button](QMessageBox* box) {
            Record(box->text(), box->buttons());
            titles.append(box->windowTitle());
            QAbstractButton* chosen = box->buttons().size() == 1 ? box->buttons().first() : box->button(button);
            return chosen && (chosen->click(), true);
        });
    }
    // The name dialog: type over its text and press Enter.
    ModalScript& Name(const QString& typed)
    {
        return On<QInputDialog>([this, typed](QInputDialog* dialog) {
            Record(dialog->textValue(), dialog->findChild<QDialogButtonBox*>()->buttons());
            auto* edit = dialog->findChild<QLineEdit*>();
            edit->selectAll();
            QTest::keyClicks(edit, typed);
            return QTest::keyClick(edit, Qt::Key_Return), true;
        });
    }
    ModalScript& Menu(const QString& entry)
    {
        return On<QMenu>([entry](QMenu* menu) {
            for (QAction* action : menu->actions())
                if (action->text() == entry)
                    return menu->setActiveAction(action), QTest::keyClick(menu, Qt::Key_Return), true;
            return false;
        });
    }
    // A file dialog: the path typed into its name box, as a user would (a file that does not exist
    // yet cannot be selected).
    ModalScript& File(const QString& path)
    {
        return On<QFileDialog>([this, path](QFileDialog* dialog) {
            Record(dialog->windowTitle(), {});
            dialog->setDirectory(QFileInfo(path).absolutePath());
            dialog->findChild<QLineEdit*>(QStringLiteral("fileNameEdit"))->setText(QFileInfo(path).fileName());
            return static_cast<QDialog*>(dialog)->accept(), true;
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
    // An answer for the next window, which must be a Window; false when it could not answer.
    template <class Window, class Answer>
    ModalScript& On(Answer answer)
    {
        steps.append([answer](QWidget* window) { return qobject_cast<Window*>(window) && answer(qobject_cast<Window*>(window)); });
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
        // and a timer is never called again while its own call is running. The step is taken off
        // first: the answer may run the next windows before it returns.
        QTimer::singleShot(0, this, [this, target = QPointer<QWidget>(window)] {
            const Step step = target && !steps.isEmpty() ? steps.takeFirst() : Step();
            if (target && (!step || !step(target)))
                ++unexpected, target->close();
        });
    }

    static inline ModalScript* newest = nullptr;
    ModalScript* previous = nullptr;
    QList<Step> steps;
    QPointer<QWidget> handled;
    QTimer timer;
};
