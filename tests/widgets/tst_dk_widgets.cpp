#include "widgets/dk_label.h"
#include "widgets/dk_tabbar.h"
#include "widgets/dk_tabwidget.h"
#include "widgets/dk_textcombox.h"

#include <QApplication>
#include <QDragEnterEvent>
#include <QDragMoveEvent>
#include <QDropEvent>
#include <QEnterEvent>
#include <QFontMetrics>
#include <QLineEdit>
#include <QMimeData>
#include <QMouseEvent>
#include <QSignalSpy>
#include <QTest>

namespace {

// Exposes the size hint that QTabBar only calls from its own layout.
class ProbeTabBar : public DK_TabBar
{
public:
    using DK_TabBar::DK_TabBar;
    QSize Hint(int index) const { return tabSizeHint(index); }
};

// Counts mouse releases that a child let through to its parent.
class ReleaseCounter : public QWidget
{
public:
    int releases = 0;

protected:
    void mouseReleaseEvent(QMouseEvent* event) override
    {
        ++releases;
        event->accept();
    }
};

int TextWidth(const QTabBar& bar, int i)
{
    return QFontMetrics(bar.font()).horizontalAdvance(bar.tabText(i)) + DK_TabBar::kTabExtraWidth;
}

} // namespace

class TestDkWidgets : public QObject
{
    Q_OBJECT

private slots:
    void tabBarSqueezesProportionallyAndFillsTheWidth();
    void tabWidgetInstallsItsTabBarAndLaysTabsOutByTheRule();
    void tabWidgetReportsTheButtonPressedOnATab();
    void comboBoxReportsDroppedUrlsWithoutTakingThem();
    void comboBoxRefusesDragsWhenDropsAreOff();
    void labelClickResultDecidesWhetherTheReleaseTravelsOn();
    void labelHandCursorFollowsEnterAndLeave();
};

void TestDkWidgets::tabBarSqueezesProportionallyAndFillsTheWidth()
{
    DK_TabWidget host;
    ProbeTabBar bar(&host);
    const QStringList names = {QStringLiteral("a"), QStringLiteral("一括処理のページ"),
                               QStringLiteral("New Page-copy"), QStringLiteral("x y z")};
    for (const QString& n : names)
        bar.addTab(n);

    qint64 total = 0;
    for (int i = 0; i < bar.count(); ++i)
        total += TextWidth(bar, i);

    // Try several widths below the natural total; at least one must lose pixels to
    // rounding, or the last tab's share of the remainder would go unchecked.
    bool sawRoundingLoss = false;
    for (int w = int(total) - 1; w > int(total) / 3; w -= 37) {
        host.resize(w, 200);
        QCOMPARE(host.width(), w);
        qint64 sumFloors = 0;
        int sumHints = 0;
        for (int i = 0; i < bar.count(); ++i) {
            const qint64 expected = qint64(w) * TextWidth(bar, i) / total;
            sumFloors += expected;
            const QSize hint = bar.Hint(i);
            QCOMPARE(hint.height(), 32);
            if (i < bar.count() - 1)
                QCOMPARE(qint64(hint.width()), expected);
            sumHints += hint.width();
        }
        const qint64 lost = w - sumFloors;
        if (lost > 0)
            sawRoundingLoss = true;
        QCOMPARE(qint64(bar.Hint(bar.count() - 1).width()),
                 qint64(w) * TextWidth(bar, bar.count() - 1) / total + lost);
        QCOMPARE(sumHints, w);
    }
    QVERIFY(sawRoundingLoss);

    // With room enough, each tab gets its text width plus the fixed room for icon and padding.
    host.resize(int(total) + 100, 200);
    for (int i = 0; i < bar.count(); ++i)
        QCOMPARE(bar.Hint(i), QSize(TextWidth(bar, i), 32));

    // Out-of-range indexes must not crash or index past the list.
    bar.Hint(-1);
    bar.Hint(bar.count());
}

void TestDkWidgets::tabWidgetInstallsItsTabBarAndLaysTabsOutByTheRule()
{
    DK_TabWidget tabs;
    QVERIFY(qobject_cast<DK_TabBar*>(tabs.tabBar()) != nullptr);
    QCOMPARE(tabs.tabBar()->parentWidget(), &tabs);
    for (const char* n : {"page1", "page2", "とても長い名前のページ"})
        tabs.addTab(new QWidget, QString::fromUtf8(n));

    QTabBar* bar = tabs.tabBar();
    int total = 0;
    for (int i = 0; i < bar->count(); ++i)
        total += TextWidth(*bar, i);

    // The real layout fills the width when squeezed, and follows later changes both ways.
    tabs.resize(total * 2 / 3, 300);
    tabs.show();
    QVERIFY(QTest::qWaitForWindowExposed(&tabs));
    for (const int w : {total * 2 / 3, total / 2, total + 200, total / 3}) {
        tabs.resize(w, 300);
        QApplication::processEvents();
        int sum = 0;
        for (int i = 0; i < bar->count(); ++i)
            sum += bar->tabRect(i).width();
        QCOMPARE(sum, qMin(w, total));
    }
}

void TestDkWidgets::tabWidgetReportsTheButtonPressedOnATab()
{
    DK_TabWidget tabs;
    for (int i = 0; i < 3; ++i) {
        auto* page = new QWidget;
        tabs.addTab(page, QStringLiteral("page%1").arg(i + 1));
    }
    tabs.resize(600, 300);
    tabs.show();
    QVERIFY(QTest::qWaitForWindowExposed(&tabs));

    QSignalSpy right(&tabs, &DK_TabWidget::tabBarRightClicked);
    QSignalSpy middle(&tabs, &DK_TabWidget::tabBarWheelClicked);
    QSignalSpy left(&tabs, &DK_TabWidget::tabBarLeftClicked);
    QTabBar* bar = tabs.tabBar();
    const QPoint inPage = tabs.mapFromGlobal(tabs.currentWidget()->mapToGlobal(QPoint(50, 50)));

    // A press on the page area with nothing pending reports nothing.
    QTest::mousePress(&tabs, Qt::RightButton, {}, inPage);
    QTest::mouseRelease(&tabs, Qt::RightButton, {}, inPage);
    QCOMPARE(right.count() + middle.count() + left.count(), 0);

    QTest::mousePress(bar, Qt::RightButton, {}, bar->tabRect(1).center());
    QTest::mouseRelease(bar, Qt::RightButton, {}, bar->tabRect(1).center());
    QCOMPARE(right.count(), 1);
    QCOMPARE(right.takeFirst().at(0).toInt(), 1);

    QTest::mousePress(bar, Qt::MiddleButton, {}, bar->tabRect(2).center());
    QTest::mouseRelease(bar, Qt::MiddleButton, {}, bar->tabRect(2).center());
    QCOMPARE(middle.count(), 1);
    QCOMPARE(middle.takeFirst().at(0).toInt(), 2);

    // A left press is consumed by the tab bar (it switches tabs); its index waits
    // for the tab widget's next own press, whatever the button then is.
    QTest::mouseClick(bar, Qt::LeftButton, {}, bar->tabRect(0).center());
    QCOMPARE(tabs.currentIndex(), 0);
    QCOMPARE(right.count() + middle.count() + left.count(), 0);
    QTest::mousePress(&tabs, Qt::RightButton, {}, inPage);
    QTest::mouseRelease(&tabs, Qt::RightButton, {}, inPage);
    QCOMPARE(right.count(), 1);
    QCOMPARE(right.takeFirst().at(0).toInt(), 0);

    QTest::mouseClick(bar, Qt::LeftButton, {}, bar->tabRect(2).center());
    QTest::mousePress(&tabs, Qt::LeftButton, {}, inPage);
    QTest::mouseRelease(&tabs, Qt::LeftButton, {}, inPage);
    QCOMPARE(left.count(), 1);
    QCOMPARE(left.takeFirst().at(0).toInt(), 2);

    // The pending index is used once only.
    QTest::mousePress(&tabs, Qt::RightButton, {}, inPage);
    QTest::mouseRelease(&tabs, Qt::RightButton, {}, inPage);
    QCOMPARE(right.count(), 0);
}

void TestDkWidgets::comboBoxReportsDroppedUrlsWithoutTakingThem()
{
    DK_TextCombox box(nullptr);
    box.setEditable(true);
    box.setEditText(QStringLiteral("C:\\kept\\"));
    QVERIFY(box.acceptDrops());
    QVERIFY(box.IsDropEnabled());

    QSignalSpy spy(&box, &DK_TextCombox::singalMimeDataUrls);
    QVERIFY(spy.isValid());

    const QList<QUrl> urls = {QUrl::fromLocalFile(QStringLiteral("/tmp/photos")),
                              QUrl::fromLocalFile(QStringLiteral("/tmp/写真 2/a.jpg"))};
    QMimeData mime;
    mime.setUrls(urls);
    mime.setText(QStringLiteral("dropped text that must not appear"));

    QDragEnterEvent enter(QPoint(5, 5), Qt::CopyAction | Qt::MoveAction, &mime, Qt::LeftButton, {});
    QApplication::sendEvent(&box, &enter);
    QVERIFY(enter.isAccepted());
    QCOMPARE(enter.dropAction(), Qt::CopyAction);


    QDropEvent drop(QPointF(6, 6), Qt::CopyAction, &mime, Qt::LeftButton, {});
    QApplication::sendEvent(&box, &drop);
    QCOMPARE(spy.count(), 1);
    const QList<QVariant> args = spy.takeFirst();
    QCOMPARE(args.at(0).value<DK_TextCombox*>(), &box);
    QCOMPARE(args.at(1).value<QList<QUrl>>(), urls);
    QCOMPARE(box.currentText(), QStringLiteral("C:\\kept\\"));
    QCOMPARE(box.count(), 0);

    // A receiver decides what the box shows.
    connect(&box, &DK_TextCombox::singalMimeDataUrls, &box,
            [](DK_TextCombox* target, const QList<QUrl>& list) {
                target->setEditText(list.first().toLocalFile());
            });
    // Qt delivers a drop only to a widget that took the drag's enter event.
    QDragEnterEvent enterAgain(QPoint(5, 5), Qt::CopyAction, &mime, Qt::LeftButton, {});
    QApplication::sendEvent(&box, &enterAgain);
    QDropEvent again(QPointF(6, 6), Qt::CopyAction, &mime, Qt::LeftButton, {});
    QApplication::sendEvent(&box, &again);
    QCOMPARE(box.currentText(), QStringLiteral("/tmp/photos"));
}

void TestDkWidgets::comboBoxRefusesDragsWhenDropsAreOff()
{
    DK_TextCombox box(nullptr);
    box.setEditable(true);
    box.setEditText(QStringLiteral("same"));
    box.SetDropEnabled(false);
    QSignalSpy spy(&box, &DK_TextCombox::singalMimeDataUrls);

    QMimeData mime;
    mime.setUrls({QUrl::fromLocalFile(QStringLiteral("/tmp/x"))});
    QDragEnterEvent enter(QPoint(1, 1), Qt::CopyAction, &mime, Qt::LeftButton, {});
    QApplication::sendEvent(&box, &enter);
    QVERIFY(!enter.isAccepted());
    QDragMoveEvent move(QPoint(1, 1), Qt::CopyAction, &mime, Qt::LeftButton, {});
    QApplication::sendEvent(&box, &move);
    QVERIFY(!move.isAccepted());
    QDropEvent drop(QPointF(1, 1), Qt::CopyAction, &mime, Qt::LeftButton, {});
    QApplication::sendEvent(&box, &drop);
    QCOMPARE(spy.count(), 0);
    QCOMPARE(box.currentText(), QStringLiteral("same"));
}

void TestDkWidgets::labelClickResultDecidesWhetherTheReleaseTravelsOn()
{
    ReleaseCounter parent;
    parent.resize(200, 100);
    auto* label = new DK_Label(&parent);
    label->setGeometry(10, 10, 100, 40);
    label->setText(QStringLiteral("link"));
    QVERIFY(label->font().underline());
    QVERIFY(label->styleSheet().contains(QStringLiteral("rgb(255,0,0)")));
    parent.show();
    QVERIFY(QTest::qWaitForWindowExposed(&parent));

    QSignalSpy spy(label, &DK_Label::clicked);

    // Nobody returns a result: the label's base handling runs and lets the
    // release go on to the parent.
    QTest::mouseClick(label, Qt::LeftButton, {}, QPoint(7, 9));
    QCOMPARE(spy.count(), 1);
    QCOMPARE(spy.at(0).at(0).toPoint(), QPoint(7, 9));
    QCOMPARE(spy.at(0).at(1).toBool(), false);
    QCOMPARE(parent.releases, 1);

    bool answer = true;
    connect(label, &DK_Label::clicked, label, [&answer](QPoint, bool) { return answer; });

    QTest::mouseClick(label, Qt::RightButton, {}, QPoint(3, 4));
    QCOMPARE(spy.count(), 2);
    QCOMPARE(spy.at(1).at(1).toBool(), true);
    QCOMPARE(parent.releases, 1); // swallowed by the receiver

    answer = false;
    QTest::mouseClick(label, Qt::MiddleButton, {}, QPoint(3, 4));
    QCOMPARE(spy.count(), 3);
    QCOMPARE(spy.at(2).at(1).toBool(), false);
    QCOMPARE(parent.releases, 2);
}

void TestDkWidgets::labelHandCursorFollowsEnterAndLeave()
{
    DK_Label label(nullptr);
    label.setCursor(Qt::CrossCursor);
    QEnterEvent enter(QPointF(1, 1), QPointF(1, 1), QPointF(1, 1));
    QEvent leave(QEvent::Leave);

    // Without the option the label leaves the cursor alone.
    QApplication::sendEvent(&label, &enter);
    QCOMPARE(label.cursor().shape(), Qt::CrossCursor);
    QApplication::sendEvent(&label, &leave);
    QCOMPARE(label.cursor().shape(), Qt::CrossCursor);

    label.SetHandCursor(true);
    QVERIFY(label.HandCursor());
    QApplication::sendEvent(&label, &enter);
    QCOMPARE(label.cursor().shape(), Qt::PointingHandCursor);
    QApplication::sendEvent(&label, &leave);
    QCOMPARE(label.cursor().shape(), Qt::ArrowCursor);
}

QTEST_MAIN(TestDkWidgets)
#include "tst_dk_widgets.moc"
