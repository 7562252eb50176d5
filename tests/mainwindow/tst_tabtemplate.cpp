// The page editor form on real widgets (its record, the rules between its controls, the drops on
// its folder boxes; clicks and keys go through QTest), and the window's rules as plain functions:
// the dropped folder's checks, page names, the histories after a run and the start switch.

#include "mainwindow/autostart.h"
#include "mainwindow/folderpickers.h"
#include "mainwindow/pagenamedialog.h"
#include "mainwindow/runhistories.h"
#include "mainwindow/tabtemplate.h"
#include "tests/mainwindow/modalscript.h"
#include "tests/mainwindow/samplepage.h"
#include "ui_tabtemplate.h"

namespace {

// Delivers a drop the way a window routes it: to the innermost widget under the point that
// accepts drops, which for an editable box is its line edit. File managers offer the addresses
// as plain text too, which a line edit would paste.
void DropOn(QWidget* box, const QList<QUrl>& urls)
{
    QMimeData mime;
    mime.setUrls(urls);
    mime.setText(QUrl::toStringList(urls).join(u'\n'));
    const QPoint at = box->mapTo(box->window(), box->rect().center());
    QWidget* target = box->window()->childAt(at);
    while (target != nullptr && !target->acceptDrops())
        target = target->parentWidget();
    QVERIFY(target != nullptr);
    QDragEnterEvent enter(target->mapFrom(box->window(), at), Qt::CopyAction, &mime, Qt::LeftButton, Qt::NoModifier);
    QDropEvent drop(QPointF(enter.position()), Qt::CopyAction, &mime, Qt::LeftButton, Qt::NoModifier);
    if (QApplication::sendEvent(target, &enter), enter.isAccepted())
        QApplication::sendEvent(target, &drop);
}

} // namespace

class TestTabTemplate : public QObject
{
    Q_OBJECT

    std::unique_ptr<TabTemplate> form;
    Ui::TabTemplate* ui = nullptr;
    QTranslator translator;

private slots:
    void initTestCase()
    {
        QVERIFY(translator.load(QStringLiteral(":/translation/DKDesktop_ja_JP.qm")) && QCoreApplication::installTranslator(&translator));
    }

    void init()
    {
        form = std::make_unique<TabTemplate>();
        ui = form->ui;
        form->Initialization();
        form->show();
        QVERIFY(QTest::qWaitForWindowExposed(form.get()));
    }

    // A new page saves the default record; load then save gives back a record with every field
    // away from its default, and values no control can show come back as the page's defaults.
    void formHoldsTheRecord()
    {
        PageSettingsRecord saved, sample = SamplePage(QStringLiteral("kept"));
        sample.viewListNum = 4;
        QJsonObject changed, plain;
        SettingsStore::WritePageJson(sample, changed);
        SettingsStore::WritePageJson(saved, plain);
        for (const QString& key : plain.keys())
            QVERIFY2(changed.value(key) != plain.value(key), qPrintable(key));
        saved.generalSubFolder = false; // anything the form fails to write would stay like this
        form->SavePageFromForm(saved);
        QVERIFY(saved == PageSettingsRecord());
        PageSettingsRecord odd = sample, fixed = sample;
        std::tie(odd.stampPosition, odd.generalOutputFormat, odd.resizeRadio) = std::tuple(QStringLiteral("middle"), 9, -1);
        std::tie(fixed.stampPosition, fixed.generalOutputFormat, fixed.resizeRadio) = std::tuple(QStringLiteral("center"), 1, 4);
        for (const auto& [loaded, expected] : {std::pair{sample, sample}, std::pair{odd, fixed}}) {
            form->LoadPageToForm(loaded);
            QCOMPARE(ui->stackedWidget->currentIndex(), loaded.viewListNum);
            saved = PageSettingsRecord();
            std::tie(saved.tabName, saved.checked, saved.viewListNum) = std::tie(loaded.tabName, loaded.checked, loaded.viewListNum);
            form->SavePageFromForm(saved);
            QVERIFY(saved == expected);
        }
    }

    // Each control governed by a rule, one letter per control (w h l m f n: the resize fields;
    // s L q: the size group, its limit and quality box; o: the extra options' text), shown when
    // enabled, '.' when not: after a page is loaded, then after the user's keys and clicks.
    void enablingRules_data()
    {
        QTest::addColumn<QByteArray>("page");
        QTest::addColumn<QStringList>("actions");   // Space on a control, or "combo=index"
        QTest::addColumn<QString>("enabled");
        QTest::newRow("defaults") << QByteArray("{}") << QStringList{} << "......s...";
        QTest::newRow("png has no size group") << QByteArray(R"({"generalOutputFormat": 3})") << QStringList{} << "..........";
        QTest::newRow("size group checked") << QByteArray(R"({"generalOutputFormat": 2})") << QStringList{"sizeAdjustment"} << "......sLq.";
        QTest::newRow("size group, then png") << QByteArray(R"({"jpegFileSizeGroup": true})") << QStringList{"outputFormatComboBox=3"} << "..........";
        QTest::newRow("stored mode back on resize") << QByteArray(R"({"resizeRadio": 2})") << QStringList{"resize"} << "..l..ns...";
        QTest::newRow("width") << QByteArray(R"({"resizeGroup": true, "resizeRadio": 0, "resizeImageFit": 3})") << QStringList{} << "w....ns...";
        QTest::newRow("height") << QByteArray(R"({"resizeGroup": true, "resizeRadio": 1})") << QStringList{} << ".h...ns...";
        QTest::newRow("magnification") << QByteArray(R"({"resizeGroup": true, "resizeRadio": 3, "resizeImageFit": 2})") << QStringList{} << "...m.ns...";
        QTest::newRow("fit, not-expand applies") << QByteArray(R"({"resizeGroup": true, "resizeRadio": 4})") << QStringList{} << "wh..fns...";
        QTest::newRow("fit, second choice") << QByteArray(R"({"resizeGroup": true, "resizeRadio": 4, "resizeImageFit": 1})") << QStringList{} << "wh..f.s...";
        QTest::newRow("fit chosen by click") << QByteArray(R"({"resizeGroup": true, "resizeRadio": 2})") << QStringList{"imageFitRadioButton", "imageFitComboBox=2"} << "wh..f.s...";
        QTest::newRow("option text on") << QByteArray(R"({"uniqueAddOptionStr": "-x 1"})") << QStringList{"addOptionCheckBox"} << "......s..o";
        QTest::newRow("option text off") << QByteArray(R"({"uniqueAddOption": true, "uniqueAddOptionStr": "-x 1"})") << QStringList{"addOptionCheckBox"} << "......s...";
    }
    void enablingRules()
    {
        QFETCH(QByteArray, page);
        QFETCH(QStringList, actions);
        QFETCH(QString, enabled);
        PageSettingsRecord record;
        SettingsStore::ReadPageJson(record, QJsonDocument::fromJson(page).object());
        form->LoadPageToForm(record);
        for (const QString& action : actions) {
            auto* control = form->findChild<QWidget*>(action.section(u'=', 0, 0));
            if (auto* combo = qobject_cast<QComboBox*>(control))
                combo->setCurrentIndex(action.section(u'=', 1).toInt());
            else
                QTest::keyClick(control, Qt::Key_Space);
        }
        QString shown;
        for (QWidget* control : QList<QWidget*>{ui->widthSpinBox, ui->heightSpinBox, ui->longSideSpinBox, ui->magnificationSpinBox,
                                                ui->imageFitComboBox, ui->notExpandCheckBox, ui->sizeAdjustment, ui->sizeAdjustmentLimitSpinBox,
                                                ui->imageQualityMaintenanceCheckBox, ui->addOptionLineEdit})
            shown += control->isEnabled() ? QStringLiteral("whlmfnsLqo").at(shown.size()) : u'.';
        QCOMPARE(shown, enabled);
        // The size group's title greys with it; a switched-off text keeps what was typed.
        QCOMPARE(ui->sizeAdjustment->styleSheet().contains(QStringLiteral("#a6a6a6")), !ui->sizeAdjustment->isEnabled());
        form->SavePageFromForm(record);
        QCOMPARE(record.uniqueAddOptionStr, QJsonDocument::fromJson(page).object().value("uniqueAddOptionStr").toString());
    }

    // The sample name follows the suffix, the opacity pair moves together, one position is checked.
    void pairedControlsStayInStep()
    {
        QTest::keyClick(ui->groupBox_2, Qt::Key_Space);
        QTest::keyClicks(ui->lineEdit, QStringLiteral("_s"));
        QCOMPARE(ui->label_4->text(), QStringLiteral("sample_s.jpg"));
        QTest::keyClick(ui->groupBox_2, Qt::Key_Space);
        QCOMPARE(ui->label_4->text(), QStringLiteral("sample.jpg"));

        QTest::keyClick(ui->groupBox_3, Qt::Key_Space);
        ui->spinBox_3->selectAll();
        QTest::keyClicks(ui->spinBox_3, QStringLiteral("37"));
        QCOMPARE(ui->horizontalSlider->value(), 37);
        QTest::keyClick(ui->horizontalSlider, Qt::Key_End);
        QCOMPARE(ui->spinBox_3->value(), 100);

        QTest::mouseClick(ui->pushButton_6, Qt::LeftButton); // the checked centre stays checked
        QVERIFY(ui->pushButton_6->isChecked());
        QTest::mouseClick(ui->pushButton_10, Qt::LeftButton);
        PageSettingsRecord saved;
        form->SavePageFromForm(saved);
        QCOMPARE(saved.stampPosition, QStringLiteral("bottomright"));
        QVERIFY(!ui->pushButton_6->isChecked());
    }

    // A folder box takes exactly one dropped folder with a usable path, through its own drop
    // handling; anything else is refused with a box, or ignored when nothing in it is local, and
    // the box keeps its text. The stamp box takes no drops at all.
    void folderBoxesTakeOneDroppedFolder()
    {
        QTemporaryDir temp;
        QDir root(temp.path());
        const QString deep = QString(120, u'd') + u'/' + QString(120, u'e');
        QVERIFY(root.mkpath("a") && root.mkpath("bad?name") && root.mkpath(deep));
        QFile file(root.filePath("photo.jpg"));
        QVERIFY(file.open(QIODevice::WriteOnly));
        const auto url = [&](const QString& name) { return QUrl::fromLocalFile(root.filePath(name)); };
        const QString named = QStringLiteral("*"); // the path rules' own message, naming the field
        const QList<std::tuple<QList<QUrl>, QString, QString>> cases{
            {{url("a")}, QDir::toNativeSeparators(root.filePath("a/")), {}},
            {{url("a"), url("a")}, {}, PickerText::DropOneFolder()},
            {{}, {}, PickerText::DropOneFolder()},
            {{url("photo.jpg")}, {}, PickerText::NotAFolder()},
            {{QUrl("https://example.org/a/")}, {}, {}},
            {{url(deep)}, {}, PickerText::PathTooLong()},
            {{url("bad?name")}, {}, named}};
        for (int i = 0; i < cases.size(); ++i) {
            const auto& [urls, path, message] = cases.at(i);
            DK_TextCombox* box = i % 2 ? ui->outputLineEdit : ui->inputLineEdit;
            box->setEditText(QStringLiteral("kept"));
            ModalScript user;
            if (!message.isEmpty())
                user.Box();
            DropOn(box, urls);
            QCOMPARE(box->currentText(), path.isEmpty() ? QStringLiteral("kept") : path);
            QTRY_VERIFY2(user.Done(), user.Report());
            QCOMPARE(user.texts.size(), int(!message.isEmpty()));
            QVERIFY(message != named ? user.texts.value(0) == message : user.texts.value(0).contains(QStringLiteral("フォルダー")));
        }
        QMimeData mime;
        mime.setUrls({url("a")});
        QDragEnterEvent enter(QPoint(5, 5), Qt::CopyAction, &mime, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(ui->lineEdit_2->lineEdit(), &enter);
        QVERIFY(!enter.isAccepted());
    }

    // ---- the window's rules as plain functions ----

    // Names lose line breaks and outer spaces; empty, longer than 32 or taken (same case) is refused,
    // in the user's language.
    void pageNames()
    {
        const QString x33(33, u'x');
        const QList<std::tuple<QString, QStringList, QString, QString>> cases{
            {"  spaced  ", {}, "spaced", ""},
            {"two\r\nlines\n", {}, "twolines", ""},
            {QString(32, u'x'), {}, QString(32, u'x'), ""},
            {" \n ", {}, "", "名前を付けてください。"},
            {x33, {}, QString(32, u'x'), "名前に使用できる長さは 32 文字です。\n文字の長さ :33"},
            {" page1", {"page1"}, "page1", "この名前はすでに登録されています。\nページ名 :page1"},
            {"Page1", {"page1"}, "Page1", ""}};
        for (const auto& [entered, taken, name, refusal] : cases) {
            const PageNameCheck check = CheckPageName(entered, taken);
            QCOMPARE(check.name, name);
            QCOMPARE(check.refusal, refusal);
        }
    }

    // After a run the used folders go to the front: in a batch every checked page's in tab order
    // (an entry differing in case replaced), else the current page's; at most 20 are kept.
    void runFoldersGoToTheFront()
    {
        // one letter per tab: c checked, . unchecked, x checked but without a page
        const QList<std::tuple<QString, int, QStringList, QStringList>> cases{
            {".c.c", 2, {"in-b", "older"}, {"IN-B", "IN-D", "older"}},
            {"c.c", 1, {}, {"IN-A", "IN-C"}},
            {"...", 1, {"old"}, {"IN-B", "old"}},
            {"x", 0, {}, {}},
            {"..", -1, {}, {}},
            {".", 0, QStringList(20, "old"), QStringList{"IN-A"} + QStringList(19, "old")}};
        for (const auto& [tabs, current, before, after] : cases) {
            QList<RunPageFolders> pages;
            for (const QChar c : tabs) {
                const QString name(QChar(char16_t(u'A' + pages.size())));
                pages.append({c != u'.', c != u'x', "IN-" + name, "OUT-" + name, "ST-" + name});
            }
            RecentFolders lists;
            lists.inputHistory = before;
            PushRunFolders(lists, pages, current);
            QCOMPARE(lists.inputHistory, after);
            QCOMPARE(lists.stampHistory.size(), lists.outputHistory.size());
        }
    }

    // Only the exact switch, first after the program's name, starts a run.
    void autostartSwitch()
    {
        for (const auto& [word, starts] : QList<std::pair<QString, bool>>{
                 {"-autostart", true}, {"/autostart", true}, {"autostart", false}, {"--autostart", false}, {"-AUTOSTART", false}, {"", false}})
            QCOMPARE(IsAutostartSwitch(word), starts);
        QCOMPARE(FirstArgument({"prog"}), QString());
        QCOMPARE(FirstArgument({"prog", "-a", "-b"}), QStringLiteral("-a"));
    }
};

QTEST_MAIN(TestTabTemplate)
#include "tst_tabtemplate.moc"
