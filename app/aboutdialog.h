#pragma once

#include <QDialog>
#include <QPoint>
#include <QString>
#include <QUrl>

namespace Ui {
class AboutDialog;
}

class QCloseEvent;
class QKeyEvent;
class QShowEvent;

// The application's and the engine's versions, a logo that opens the product page, two notes.
class AboutDialog : public QDialog
{
    Q_OBJECT

public:
    explicit AboutDialog(QWidget* parent = nullptr);
    ~AboutDialog() override;

    // Called before the first show; "" shows "Version " with nothing after it.
    void SetEngineVersion(const QString& version) { engineVersion = version; }

    // The address the logo opens.
    static QUrl ProductPageUrl();

public slots:
    void on_pushButton_clicked();

private slots:
    bool OpenProductPage(QPoint pos, bool rightClick);

protected:
    void showEvent(QShowEvent* event) override;
    void closeEvent(QCloseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    Ui::AboutDialog* ui = nullptr;
    bool firstShowDone = false;
    QString engineVersion;
};
