#pragma once

#include <QDialog>
#include <QList>
#include <QPair>
#include <QString>

namespace Ui {
class ResultDialog;
}

class QShowEvent;
struct ResultData;

// Per page tab, in tab order: the tab's name and its output folder, empty for a page that did
// not take part in the batch.
using ResultFolderList = QList<QPair<QString, QString>>;

// Closes every run that got as far as processing: the summary, the failed files with a copy
// button, and the way to the output folder (after a batch, a menu of every page's folder).
class ResultDialog : public QDialog
{
    Q_OBJECT

public:
    ResultDialog(QWidget* parent, bool batchMode);
    ~ResultDialog() override;

    void SetOutputFolder(const QString& path) { outputFolder = path; }
    void SetFolderList(const ResultFolderList& list) { folderList = list; }
    // Once, before the dialog is run.
    void BuildSummary(const ResultData& result);

public slots:
    void on_pushButton_clicked();
    void on_pushButton_2_clicked();
    void on_pushButton_3_clicked();
    void slotFolderOpen();

protected:
    void showEvent(QShowEvent* event) override;

private:
    void OpenSingleOutputFolder();
    void PopUpFolderMenu();

    Ui::ResultDialog* ui = nullptr;
    QString outputFolder;
    ResultFolderList folderList;
    bool shownOnce = false;
    bool batchMode = false;
};
