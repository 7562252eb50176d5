#include "dialogs/conflictdialog.h"
#include "ui_conflictdialog.h"

#include "dialogs/textlines.h"

ConflictDialog::ConflictDialog(QWidget* parent) : QDialog(parent), ui(new Ui::ConflictDialog)
{
    ui->setupUi(this);
}

ConflictDialog::~ConflictDialog()
{
    delete ui;
}

void ConflictDialog::SetConflicts(const QStringList& conflicts)
{
    AppendPlainLines(ui->textEdit, conflicts);
}

void ConflictDialog::on_pushButton_2_clicked()
{
    accept();
}
