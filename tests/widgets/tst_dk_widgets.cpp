// The custom widgets' own rules: tab widths, the button reported for a tab, and drops handed on
// as addresses. The label's click is shown through its use in the about dialog.

#include "widgets/dk_tabbar.h"
#include "widgets/dk_tabwidget.h"
#include "widgets/dk_textcombox.h"

#include <QApplication>
#include <QMimeData>
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

} // namespace

class TestDkWidgets : public QObject
{
    Q_OBJECT

private slots:
    // Squeezed tabs share the width in proportion to their text widths, the last one taking what
    // rounding lost, so together they fill it exactly; with room enough each keeps its own width.
    void tabBarSharesTheWidth()
    {
        DK_TabWidget host;
        ProbeTabBar bar(&host);
        QList<int> natural;
        for (const char* name : {"a", "一括処理のページ", "New Page-copy", "x y z"}) {
            bar.addTab(QString::fromUtf8(name));
            natural.append(bar.fontMetrics().horizontalAdvance(bar.tabText(bar.count() - 1)) + DK_TabBar::kTabExtraWidth);
        }
        const int total = std::accumulate(natural.begin(), natural.end(), 0);
        bool roundingLost = false;
        for (int w = total + 50; w > total / 3; w -= 37) {
            host.resize(w, 200);
            int sum = 0, floors = 0;
            for (int i = 0; i < bar.count(); ++i) {
                const int share = int(qint64(qMin(w, total)) * natural.at(i) / total);
                QCOMPARE(bar.Hint(i).height(), 32);
                if (i < bar.count() - 1)
                    QCOMPARE(bar.Hint(i).width(), share);
                sum += bar.Hint(i).width();
                floors += share;
            }
            QCOMPARE(sum, qMin(w, total));
            roundingLost = roundingLost || floors < qMin(w, total);
        }
        QVERIFY(roundingLost); // else the last tab's share of the remainder went unchecked
    }

    // Right and middle presses on a tab report it at once; a left press switches tabs and is
    // reported, once, with the tab widget's next press of its own.
    void tabWidgetReportsTheButtonPressedOnATab()
    {
        DK_TabWidget tabs;
        for (int i = 1; i <= 3; ++i)
            tabs.addTab(new QWidget, QStringLiteral("page%1").arg(i));
        tabs.resize(600, 300);
        tabs.show();
        QVERIFY(QTest::qWaitForWindowExposed(&tabs));
        QStringList log;
        connect(&tabs, &DK_TabWidget::tabBarRightClicked, this, [&](int i) { log << QStringLiteral("R%1").arg(i); });
        connect(&tabs, &DK_TabWidget::tabBarWheelClicked, this, [&](int i) { log << QStringLiteral("M%1").arg(i); });
        connect(&tabs, &DK_TabWidget::tabBarLeftClicked, this, [&](int i) { log << QStringLiteral("L%1").arg(i); });
        QTabBar* bar = tabs.tabBar();
        const QPoint inPage = tabs.mapFromGlobal(tabs.currentWidget()->mapToGlobal(QPoint(50, 50)));
        const auto press = [](QWidget* on, Qt::MouseButton button, QPoint at) {
            QTest::mousePress(on, button, {}, at);
            QTest::mouseRelease(on, button, {}, at);
        };
        press(&tabs, Qt::RightButton, inPage); // nothing pending: nothing to report
        press(bar, Qt::RightButton, bar->tabRect(1).center());
        press(bar, Qt::MiddleButton, bar->tabRect(2).center());
        press(bar, Qt::LeftButton, bar->tabRect(0).center());
        press(&tabs, Qt::LeftButton, inPage);
        press(&tabs, Qt::RightButton, inPage);
        QCOMPARE(log, (QStringList{"R1", "M2", "L0"}));
    }

    // A drop hands the addresses on and never pastes them as text; with drops off, nothing is taken.
    void comboBoxHandsDropsOn()
    {
        for (const bool enabled : {true, false}) {
            DK_TextCombox box(nullptr);
            box.setEditable(true);
            box.setEditText(QStringLiteral("kept"));
            box.SetDropEnabled(enabled);
            QSignalSpy spy(&box, &DK_TextCombox::singalMimeDataUrls);
            const QList<QUrl> urls{QUrl::fromLocalFile(QStringLiteral("/tmp/photos")), QUrl::fromLocalFile(QStringLiteral("/tmp/写真 2/a.jpg"))};
            QMimeData mime;
            mime.setUrls(urls);
            mime.setText(QStringLiteral("dropped text"));
            QDragEnterEvent enter(QPoint(5, 5), Qt::CopyAction, &mime, Qt::LeftButton, {});
            QApplication::sendEvent(&box, &enter);
            QCOMPARE(enter.isAccepted(), enabled);
            QDropEvent drop(QPointF(6, 6), Qt::CopyAction, &mime, Qt::LeftButton, {});
            QApplication::sendEvent(&box, &drop);
            QCOMPARE(spy.count(), int(enabled));
            if (enabled)
                QCOMPARE(spy.at(0).at(1).value<QList<QUrl>>(), urls);
            QCOMPARE(box.currentText(), QStringLiteral("kept"));
        }
    }
};

QTEST_MAIN(TestDkWidgets)
#include "tst_dk_widgets.moc"
