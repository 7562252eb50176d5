#pragma once

// The run drivers: one page, or a batch of the checked pages, from the run button to the result
// dialog. They run on the user-interface thread and wait in modal dialogs while the workers run.
// They see the window only through RunHost, so they run just as well in front of a stand-in.

#include <QString>

class QWidget;
struct DefaultOption;
struct PageSettingsRecord;
struct ProcessControl;

// What a run needs from the window that starts it.
class RunHost
{
public:
    virtual ~RunHost() = default;

    virtual int PageCount() const = 0;
    virtual int CurrentIndex() const = 0;
    // At least one page carries its batch check flag.
    virtual bool IsBatchMode() const = 0;
    // The page at a tab index as its form shows it now (tab text and check flag included);
    // false when no page is there.
    virtual bool PageRecordAt(int tabIndex, PageSettingsRecord& record) const = 0;
    // Fills the option records from the page. A refusal is shown by the host itself (the tab made
    // current, the offending control shown and focused, the standard warning box).
    virtual bool SetDefaultOptionForPage(int tabIndex, const QString& inputDir, const QString& outputDir,
                                         DefaultOption* option, ProcessControl* control) = 0;
    // Makes the tab current and focuses its input or output folder box.
    virtual void FocusFolderField(int tabIndex, bool output) = 0;
    // The engine's path; when there is none the host shows why and returns false.
    virtual bool FindEngine(QString& path) = 0;
    // Parent of every dialog and box of the run.
    virtual QWidget* DialogParent() const = 0;
    // How long one engine may run before it is killed; 0 keeps the processor's limit. Only a
    // test has a reason to wait less than the hour.
    virtual int EngineTimeoutMs() const { return 0; }
};

// The body of the run button: a batch when any page is checked, else the current page.
// False when there is no page or a check refused the run before the search began. While it
// runs, the dialog parent's window refuses to close.
bool RunEntry(RunHost& host);
bool RunSinglePage(RunHost& host, int tabIndex);
bool RunBatch(RunHost& host);
