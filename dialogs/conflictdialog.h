#pragma once

#include <QDialog>
#include <QStringList>

namespace Ui {
class ConflictDialog;
}

// Shown instead of processing when input files of one folder differ only in their extension;
// lists them so the user can rename them and run again.
class ConflictDialog : public QDialog
{
    Q_OBJECT

public:
    explicit ConflictDialog(QWidget* parent = nullptr);
    ~ConflictDialog() override;

    // Appends each entry (a path or a page header) as one line, in order.
    void SetConflicts(const QStringList& conflicts);

public slots:
    void on_pushButton_2_clicked();

private:
    Ui::ConflictDialog* ui = nullptr;
};
