#pragma once

// The editor of one page: the designer form with its per-page rules and folder pickers. The
// window keeps one form per tab and always reads a page's record from its form.

#include "settings/pagesettingsrecord.h"
#include "settings/recentfolders.h"

#include <QList>
#include <QString>
#include <QUrl>
#include <QWidget>

namespace Ui {
class TabTemplate;
}

class DK_TextCombox;
class QPushButton;
class QRadioButton;
struct OptionRefusal;

class TabTemplate : public QWidget
{
    Q_OBJECT

public:
    // Builds the form and does TabSetUp (connections, styles).
    explicit TabTemplate(QWidget* parent = nullptr);
    ~TabTemplate() override;

    // Controls by their object names, for the main window and tests.
    Ui::TabTemplate* ui = nullptr;

    // The theme is chosen once per process (switching restarts the program); forms built
    // afterwards colour their group titles for it. Dark until told otherwise.
    static void SetDarkTheme(bool dark);
    static bool DarkTheme();

    // Resets every control to the default page record.
    void Initialization();
    // Every field except tabName and checked.
    void LoadPageToForm(const PageSettingsRecord& record);
    // Every field except tabName and checked (left as they are); viewListNum keeps its value too.
    void SavePageFromForm(PageSettingsRecord& record) const;
    // The three history boxes take their lists; the texts the user has in them stay.
    void RefreshHistoryCombos(const RecentFolders& histories);
    // Selects the refusal's category row (when >= 0), focuses the control named by the refusal
    // and shows the standard warning box. The window opens the panel first.
    void ShowOptionRefusal(const OptionRefusal& refusal);
    // The details button's icon for the panel's state; the window calls it on every page.
    void ShowDetailsState(bool detailsOpen);

    // Per-page rules. They are plain members rather than slots so that the form's automatic
    // connection by name never wires them a second time.
    void ReducedModeValueChanged(int value);
    void on_outputFormatComboBox_currentIndexChanged(int formatIndex);
    void SetEnabledJPEGFileSizeQGroupBox(bool enabled);
    void on_sizeAdjustment_clicked(bool checked);
    void SetRadioButton(int mode);
    bool IsNotExpand(int fitIndex) const;
    void on_imageFitComboBox_currentIndexChanged(int fitIndex);
    void SetEnabledSpecialGroupBox(bool enabled);
    void on_Special_clicked(bool checked);
    void on_addOptionCheckBox_clicked(bool checked);
    void on_lineEdit_textChanged(const QString& arg1);
    void slotSuffixChanged();
    void slotStampOpaqueChanged(int value);
    void slotStampPosClicked();

    // Folder pickers and drops.
    void on_inputFolderButton_clicked();
    void on_outputFolderButton_clicked();
    void on_inputReferencePushButton_clicked();
    void on_outputReferencePushButton_clicked();
    void slotInputFolderOpen();
    void slotOutputFolderOpen();
    void slotMimeDataUrls(DK_TextCombox* pLineEdit, const QList<QUrl>& urls);
    void slotStampFileSelect();

signals:
    void detailsToggleRequested();   // DetailedButton (Alt+V)
    void detailsOpenRequested();     // the option checks need the panel open
    void resetRequested();           // "このページを初期化": the window asks, then calls Initialization
    void importRequested();          // preset import button
    void exportRequested();          // preset export button
    void historiesRequested();       // a history box is about to open

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void TabSetUp();
    void ConnectControls();
    void StyleControls();
    void LoadGeneral(const PageSettingsRecord& record);
    void LoadJpegSizeAndFormat(const PageSettingsRecord& record);
    void LoadSpecial(const PageSettingsRecord& record);
    void LoadResize(const PageSettingsRecord& record);
    void LoadSuffixAndStamp(const PageSettingsRecord& record);
    void SaveResize(PageSettingsRecord& record) const;
    void SaveStamp(PageSettingsRecord& record) const;
    QList<QRadioButton*> ResizeRadios() const;
    void SetTitleColour(QWidget* groupBox, bool enabled);
    void SetPositionButtonStyle();
    QList<QPushButton*> PositionButtons() const;
    void CheckPositionButton(int gridIndex);
    void ChooseFolder(DK_TextCombox* box, const QString& fieldName);
    void OpenFolder(const DK_TextCombox* box);
    void ShowFolderMenu(QPushButton* button, void (TabTemplate::*browse)(),
                        void (TabTemplate::*open)());
};
