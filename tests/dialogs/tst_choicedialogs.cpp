#include "dialogs/batchsettingdialog.h"
#include "dialogs/conflictdialog.h"
#include "dialogs/mytreewidget.h"
#include "dialogs/resultdialog.h"
#include "pipeline/runrecords.h"

#include <QAbstractButton>
#include <QApplication>
#include <QClipboard>
#include <QMessageBox>
#include <QMouseEvent>
#include <QPushButton>
#include <QStyle>
#include <QTest>
#include <QTextEdit>
#include <QTimer>

namespace {

// Where to click on an entry: its box, its name, or the indentation left of it.
enum Where { Box, DoubleBox, Name, Indent };

QPoint PointOn(QTreeWidget* tree, QTreeWidgetItem* item, Where where)
{
    const QRect r = tree->visualItemRect(item);
    const int indicator = tree->style()->pixelMetric(QStyle::PM_IndicatorWidth, nullptr, tree);
    switch (where) {
    case Box:
    case DoubleBox:
        return {r.left() + indicator / 2, r.center().y()};
    case Name:
        return {r.left() + indicator + 8 + 10, r.center().y()};
    case Indent:
        return {r.left() - 3, r.center().y()};
    }
    return {};
}

// One letter per entry, root first: C checked, P partly, U unchecked.
QString States(QTreeWidget* tree)
{
    QString out;
    const auto letter = [](Qt::CheckState s) { return s == Qt::Checked ? u'C' : s == Qt::PartiallyChecked ? u'P' : u'U'; };
    QTreeWidgetItem* root = tree->topLevelItem(0);
    out += letter(root->checkState(0));
    for (int i = 0; i < root->childCount(); ++i)
        out += letter(root->child(i)->checkState(0));
    return out;
}

// Closes the next message box and keeps its text in *text. The answer is dropped with
// owner, so a box that never came cannot be answered into a later test.
void AnswerNextBox(QObject* owner, QString* text)
{
    QTimer::singleShot(0, owner, [text] {
        if (auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget())) {
            *text = box->text();
            box->buttons().value(0)->click();
        }
    });
}

using Clicks = QList<QPair<int, int>>;

} // namespace

class TestChoiceDialogs : public QObject
{
    Q_OBJECT

private slots:
    // Clicks are a list of (entry, zone): entry 0 is the root, 1.. the pages. A double click
    // on a box is two releases and a double-click event, which must not add a third toggle.
    // OK hands the boxes back in page order; Cancel hands back what came in.
    void batchClicks_data()
    {
        QTest::addColumn<QString>("initial"); // page flags, one letter per page
        QTest::addColumn<Clicks>("clicks");
        QTest::addColumn<QString>("expected");
        QTest::addColumn<bool>("ok");
        QTest::newRow("initial partly") << "CUC" << Clicks{} << "PCUC" << true;
        QTest::newRow("root clears all") << "CUC" << Clicks{{0, Box}} << "UUUU" << true;
        QTest::newRow("root twice checks all") << "CUC" << Clicks{{0, Box}, {0, Box}} << "CCCC" << true;
        QTest::newRow("page completes root") << "CUC" << Clicks{{2, Box}} << "CCCC" << true;
        QTest::newRow("name selects only") << "CUC" << Clicks{{2, Name}, {0, Name}} << "PCUC" << true;
        QTest::newRow("indent does nothing") << "CUC" << Clicks{{1, Indent}} << "PCUC" << true;
        QTest::newRow("double click toggles twice") << "CUC" << Clicks{{2, DoubleBox}} << "PCUC" << true;
        QTest::newRow("single page on") << "U" << Clicks{{1, Box}} << "CC" << true;
        QTest::newRow("single page off") << "C" << Clicks{{1, Box}} << "UU" << true;
        QTest::newRow("no pages") << "" << Clicks{} << "C" << true;
        QTest::newRow("cancel") << "CUC" << Clicks{{0, Box}} << "UUUU" << false;
    }
    void batchClicks()
    {
        QFETCH(QString, initial);
        QFETCH(Clicks, clicks);
        QFETCH(QString, expected);
        QFETCH(bool, ok);
        BatchPageList pages;
        for (qsizetype i = 0; i < initial.size(); ++i)
            pages.append({QStringLiteral("Page %1").arg(i + 1), initial.at(i) == u'C'});
        BatchSettingDialog dialog;
        dialog.SetPages(pages);
        dialog.show();
        QVERIFY(QTest::qWaitForWindowExposed(&dialog));
        auto* tree = dialog.findChild<MyTreeWidget*>(QStringLiteral("treeWidget"));
        QTreeWidgetItem* root = tree->topLevelItem(0);
        for (const auto& [entry, where] : clicks) {
            QTreeWidgetItem* item = entry == 0 ? root : root->child(entry - 1);
            const QPoint p = PointOn(tree, item, Where(where));
            // A click meant for a hidden entry would land on another one and could pass by luck.
            QCOMPARE(tree->visualItemRect(item).contains(p), where != Indent);
            QTest::mouseClick(tree->viewport(), Qt::LeftButton, {}, p);
            if (where == DoubleBox) {
                QTest::mouseClick(tree->viewport(), Qt::LeftButton, {}, p);
                QMouseEvent dbl(QEvent::MouseButtonDblClick, p, tree->viewport()->mapToGlobal(p),
                                Qt::LeftButton, Qt::LeftButton, {});
                QApplication::sendEvent(tree->viewport(), &dbl);
            }
            if (where == Name)
                QCOMPARE(tree->currentItem(), item);
        }
        QCOMPARE(States(tree), expected);
        QVERIFY(root->isExpanded());

        dialog.findChild<QPushButton*>(QLatin1String(ok ? "pushButton" : "pushButton_2"))->click();
        QCOMPARE(dialog.result(), int(ok ? QDialog::Accepted : QDialog::Rejected));
        QCOMPARE(dialog.Pages().size(), pages.size());
        for (qsizetype i = 0; i < pages.size(); ++i) {
            QCOMPARE(dialog.Pages().at(i).first, pages.at(i).first);
            QCOMPARE(dialog.Pages().at(i).second, ok ? expected.at(i + 1) == u'C' : pages.at(i).second);
        }
    }

    // Without failures the error section goes and the dialog shrinks to a fixed size; with
    // them the list shows one file per line, can be copied, and the dialog stays resizable.
    void resultFailures_data()
    {
        QTest::addColumn<QStringList>("failed");
        QTest::newRow("none") << QStringList();
        QTest::newRow("two") << QStringList{QStringLiteral("C:\\in\\a.jpg"), QStringLiteral("C:\\in\\<b>x</b>.png")};
    }
    void resultFailures()
    {
        QFETCH(QStringList, failed);
        ResultData result;
        result.failedFiles = failed;
        ResultDialog dialog(nullptr, false);
        dialog.BuildSummary(result);
        const int before = dialog.height();
        dialog.show();
        QVERIFY(QTest::qWaitForWindowExposed(&dialog));
        auto* list = dialog.findChild<QTextEdit*>(QStringLiteral("textEdit"));
        auto* copy = dialog.findChild<QPushButton*>(QStringLiteral("pushButton_3"));
        QCOMPARE(list->isVisible(), !failed.isEmpty());
        QCOMPARE(copy->isVisible(), !failed.isEmpty());
        QCOMPARE(dialog.height() < before, failed.isEmpty());
        QCOMPARE(dialog.minimumHeight() == dialog.maximumHeight(), failed.isEmpty());
        QCOMPARE(list->toPlainText(), failed.join(u'\n'));

        QGuiApplication::clipboard()->clear();
        QString message;
        AnswerNextBox(&dialog, &message);
        copy->click();
        QCOMPARE(QGuiApplication::clipboard()->text(), failed.join(u'\n'));
        QCOMPARE(message.isEmpty(), failed.isEmpty());
    }

    // The conflict list keeps page headers and names as written, one per line, in order.
    void conflictList()
    {
        ConflictDialog dialog;
        const QStringList first{QStringLiteral("[[ ページ1 ]]"), QStringLiteral("a.png"), QStringLiteral("a.jpg")};
        const QStringList second{QStringLiteral("sub\\<i>b</i>.png"), QStringLiteral("sub\\<I>B</I>.gif")};
        dialog.SetConflicts(first);
        dialog.SetConflicts(second);
        QCOMPARE(dialog.findChild<QTextEdit*>(QStringLiteral("textEdit"))->toPlainText(),
                 (first + second).join(u'\n'));
        QCOMPARE(dialog.size(), QSize(530, 381));
    }
};

QTEST_MAIN(TestChoiceDialogs)
#include "tst_choicedialogs.moc"
