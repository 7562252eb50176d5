// The page editor form on real widgets: its record, the rules between its controls, the drops
// on its folder boxes and the requests it passes to the window. Clicks and keys go through QTest.

#include "mainwindow/folderpickers.h"
#include "mainwindow/tabtemplate.h"
#include "settings/settingsstore.h"
#include "tests/mainwindow/modalscript.h"
#include "tests/mainwindow/samplepage.h"
#include "ui_tabtemplate.h"
#include "widgets/dk_textcombox.h"

#include <QDir>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLineEdit>
#include <QMenu>
#include <QMimeData>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QRadioButton>
#include <QTranslator>

#include <memory>

namespace {

QByteArray Json(const PageSettingsRecord& record)
{
    QJsonObject object;
    SettingsStore::WritePageJson(record, object);
    return QJsonDocument(object).toJson();
}

// Delivers a drop the way a window routes it: to the innermost widget under the point that
// accepts drops, which for an editable box is its line edit.
void DropOn(QWidget* box, const QList<QUrl>& urls)
{
    QMimeData mime;
    mime.setUrls(urls);
    // File managers offer the addresses as plain text too, which a line edit would paste.
    QStringList texts;
    for (const QUrl& url : urls)
        texts.append(url.toString());
    mime.setText(texts.join(u'\n'));
    QWidget* top = box->window();
    const QPoint at = box->mapTo(top, box->rect().center());
    QWidget* target = top->childAt(at);
    while (target != nullptr && !target->acceptDrops())
        target = target->parentWidget();
    QVERIFY(target != nullptr);
    const QPoint local = target->mapFrom(top, at);
    QDragEnterEvent enter(local, Qt::CopyAction, &mime, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(target, &enter);
    QVERIFY(enter.isAccepted());
    QDropEvent drop(QPointF(local), Qt::CopyAction, &mime, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(target, &drop);
}

} // namespace

class TestTabTemplate : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<TabTemplate> form;
    Ui::TabTemplate* ui = nullptr;
    QTranslator translator;

private slots:
    void cleanup() { form.reset(); }
    void initTestCase()
    {
        QVERIFY(translator.load(QStringLiteral(":/translation/DKDesktop_ja_JP.qm")));
        QCoreApplication::installTranslator(&translator);
    }

    void init()
    {
        form = std::make_unique<TabTemplate>();
        ui = form->ui;
        form->Initialization();
        form->resize(690, 520);
        form->show();
        QVERIFY(QTest::qWaitForWindowExposed(form.get()));
    }

    // A new page saves the default record and shows its texts; load then save gives back a
    // record with every field away from its default, and values no control can show come back
    // as the page's defaults.
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
        QCOMPARE(ui->outputFormatComboBox->currentText() + ui->reducemodeNumberLabel->text() + ui->label_4->text() + ui->pushButton_6->text(),
                 QStringLiteral("入力画像と同じ5sample.jpg中央"));
        QVERIFY(ui->imageFitRadioButton->isChecked() && ui->pushButton_6->isChecked());
        PageSettingsRecord odd = sample, fixed = sample;
        std::tie(odd.stampPosition, odd.generalOutputFormat, odd.resizeRadio) = std::tuple(QStringLiteral("middle"), 9, -1);
        std::tie(fixed.stampPosition, fixed.generalOutputFormat, fixed.resizeRadio) = std::tuple(QStringLiteral("center"), 1, 4);
        for (const auto& [loaded, expected] : {std::pair{sample, sample}, std::pair{odd, fixed}}) {
            form->LoadPageToForm(loaded);
            QCOMPARE(ui->stackedWidget->currentIndex(), loaded.viewListNum);
            saved = PageSettingsRecord();
            std::tie(saved.tabName, saved.checked, saved.viewListNum) = std::tie(loaded.tabName, loaded.checked, loaded.viewListNum);
            form->SavePageFromForm(saved);
            QCOMPARE(Json(saved), Json(expected));
        }
    }

    // Each control governed by a rule, one letter per control (w h l m f n: the resize fields;
    // s L q: the size group, its limit and quality box; o: the extra options' text), shown when
    // enabled, '.' when not: after a page is loaded, then after the user's keys and clicks.
    void enablingRules_data()
    {
        QTest::addColumn<QByteArray>("page");
        QTest::addColumn<QStringList>("actions");   // Space on a control, a click on a radio button, "combo=index"
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
            for (int row = 0; row < ui->stackedWidget->count(); ++row)   // shown as the user would see it
                if (ui->stackedWidget->widget(row)->isAncestorOf(control))
                    ui->listWidget->setCurrentRow(row);
            if (auto* combo = qobject_cast<QComboBox*>(control))
                combo->setCurrentIndex(action.section(u'=', 1).toInt());
            else if (qobject_cast<QRadioButton*>(control))
                QTest::mouseClick(control, Qt::LeftButton);
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
        ui->listWidget->setCurrentRow(2);
        QTest::keyClick(ui->groupBox_2, Qt::Key_Space);
        QTest::keyClicks(ui->lineEdit, QStringLiteral("_s"));
        QCOMPARE(ui->label_4->text(), QStringLiteral("sample_s.jpg"));
        QTest::keyClick(ui->groupBox_2, Qt::Key_Space);
        QCOMPARE(ui->label_4->text(), QStringLiteral("sample.jpg"));

        ui->listWidget->setCurrentRow(4);
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

    // A folder box takes one dropped folder through its own drop handling; the stamp box none.
    void folderBoxesTakeOneDroppedFolder()
    {
        QTemporaryDir temp;
        QDir root(temp.path());
        QVERIFY(root.mkpath(QStringLiteral("photos")) && root.mkpath(QStringLiteral("more")));
        const auto url = [&](const char* name) { return QUrl::fromLocalFile(root.filePath(QLatin1String(name))); };
        const QString folder = QDir::toNativeSeparators(root.filePath(QStringLiteral("photos"))) + QDir::separator();

        struct Case { DK_TextCombox* box; QList<QUrl> urls; QString text; QString message; };
        const QList<Case> cases{
            {ui->inputLineEdit, {url("photos")}, folder, {}},
            {ui->outputLineEdit, {url("photos"), url("more")}, QStringLiteral("kept"), PickerText::DropOneFolder()},
        };
        for (const Case& c : cases) {
            c.box->setEditText(QStringLiteral("kept"));
            ModalScript user;
            if (!c.message.isEmpty())
                user.Box();
            DropOn(c.box, c.urls);
            QCOMPARE(c.box->currentText(), c.text);
            QTRY_VERIFY2(user.Done(), user.Report());
            QCOMPARE(user.texts, c.message.isEmpty() ? QStringList() : QStringList{c.message});
        }
        // The stamp box takes no drops at all.
        QMimeData mime;
        mime.setUrls({url("photos")});
        QDragEnterEvent enter(QPoint(5, 5), Qt::CopyAction, &mime, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(ui->lineEdit_2->lineEdit(), &enter);
        QVERIFY(!enter.isAccepted());
    }

};

QTEST_MAIN(TestTabTemplate)
#include "tst_tabtemplate.moc"
