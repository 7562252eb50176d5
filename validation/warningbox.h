#pragma once

#include <QString>

class QWidget;

// The standard warning box: modal, warning icon, title "Dravik for Desktop", the message and
// one button labelled tr("OK"). Returns when the user has closed it.
//
// May be called from any thread: off the user-interface thread the box is shown there by a
// blocking queued call, so the calling worker waits for the user just as the user-interface
// thread would (parent is then used on the user-interface thread only). The user-interface
// thread must be running an event loop (a modal dialog is enough) while a worker calls this.
// Without a widget application (command-line tools, widget-free tests) the message goes to
// the warning log instead.
void ShowWarningBox(QWidget* parent, const QString& message);
