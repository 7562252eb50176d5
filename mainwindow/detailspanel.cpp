// The details panel: the category list and its pages below every page's top area. The window
// shows or hides it on every page at once and takes the height that fits either state.

#include "mainwindow/mainwindow.h"
#include "ui_mainwindow.h"

#include "mainwindow/operationmarker.h"
#include "mainwindow/tabtemplate.h"
#include "ui_tabtemplate.h"

#include <QLayout>

void MainWindow::DetailedOpenClose(bool forceOpen)
{
    OperationMarker marker("DetailedOpenClose");
    ApplyDetailsState(forceOpen || !detailsOpen);
}

void MainWindow::ApplyDetailsState(bool open)
{
    detailsOpen = open;
    ShowDetailsArea(open);
    setFixedHeight(open ? expandedHeight : collapsedHeight);
    for (const PageEntry& entry : pageEntries)
        entry.form->ShowDetailsState(open);
    if (open) {
        if (TabTemplate* form = GetPageForm(ui->tabWidget->currentIndex()))
            form->on_Special_clicked(form->ui->Special->isChecked());
    }
    // Only the current page's panel takes input; the lamps pass keeps that in step.
    UpdateLampIcons();
}

void MainWindow::ShowDetailsArea(bool open)
{
    // Hidden rather than cut off by the window's edge: the layout then gives the room back and
    // the bottom row of buttons stays where it belongs.
    for (const PageEntry& entry : pageEntries) {
        entry.form->ui->listWidget->setVisible(open);
        entry.form->ui->stackedWidget->setVisible(open);
        // Pages that are not on screen keep their cached size hints until told they changed.
        entry.form->updateGeometry();
        entry.page->updateGeometry();
    }
    ui->tabWidget->updateGeometry();
    centralWidget()->updateGeometry();
    for (QLayout* each : findChildren<QLayout*>())
        each->invalidate();
}

void MainWindow::MeasureDetailsHeights()
{
    OperationMarker marker("MeasureDetailsHeights");
    if (pageEntries.isEmpty()) {
        qDebug() << "no page editor: the heights stay the form's";
        return;
    }
    const auto naturalHeight = [this](bool open) {
        ShowDetailsArea(open);
        return qMax(sizeHint().height(), minimumSizeHint().height());
    };
    collapsedHeight = naturalHeight(false);
    expandedHeight = naturalHeight(true);
    ShowDetailsArea(detailsOpen);
    qDebug() << "expandedHeight :" << expandedHeight << "collapsedHeight :" << collapsedHeight;
}
