#include "mainwindow/pagenamedialog.h"

#include "settings/pagesettingsrecord.h"
#include "validation/warningbox.h"

#include <QCoreApplication>
#include <QInputDialog>
#include <QLineEdit>

namespace {

QString Tr(const char* text)
{
    // The page commands belong to the main window; their texts sit in its catalogue context.
    return QCoreApplication::translate("MainWindow", text);
}

} // namespace

PageNameCheck CheckPageName(const QString& entered, const QStringList& takenNames)
{
    PageNameCheck check;
    QString name = entered;
    // A name pasted from elsewhere may carry line breaks; a tab title cannot show them.
    name.remove(QLatin1Char('\n'));
    name.remove(QLatin1Char('\r'));
    check.name = name.trimmed();

    if (check.name.isEmpty()) {
        check.refusal = Tr("Please name it");
    } else if (check.name.size() > PageLimits::kTabNameMaxLength) {
        check.refusal = Tr("The allowed length for the name is %1 characters.\ncharacter length : ")
                            .arg(PageLimits::kTabNameMaxLength)
                        + QString::number(check.name.size());
        check.name.truncate(PageLimits::kTabNameMaxLength);
    } else if (takenNames.contains(check.name, Qt::CaseSensitive)) {
        check.refusal = Tr("This name is already registered.\nPage name : ") + check.name;
    }
    return check;
}

bool AskPageName(QWidget* parent, QString& name, const QStringList& takenNames, const QString& okText,
                 const QString& cancelText)
{
    QString text = name;
    for (;;) {
        QInputDialog dialog(parent);
        dialog.setInputMode(QInputDialog::TextInput);
        dialog.setWindowTitle(QStringLiteral("Dravik for Desktop"));
        dialog.setLabelText(Tr("page name : "));
        dialog.setOkButtonText(okText);
        dialog.setCancelButtonText(cancelText);
        dialog.setTextValue(text);
        // The input dialog builds its line edit with the text value; limit it once it exists.
        if (auto* edit = dialog.findChild<QLineEdit*>())
            edit->setMaxLength(PageLimits::kTabNameMaxLength);
        if (dialog.exec() != QDialog::Accepted)
            return false;

        const PageNameCheck check = CheckPageName(dialog.textValue(), takenNames);
        text = check.name;
        if (check.refusal.isEmpty()) {
            name = check.name;
            return true;
        }
        ShowWarningBox(parent, check.refusal);
    }
}
