#pragma once

#include <QComboBox>
#include <QList>
#include <QUrl>

class QDragEnterEvent;
class QDragMoveEvent;
class QDropEvent;

// A combo box that accepts dropped items and hands their URLs to whoever
// listens; it never puts the dropped data into itself, not even through the
// line edit of an editable box, which would otherwise paste a dropped address
// as text.
class DK_TextCombox : public QComboBox
{
    Q_OBJECT

public:
    explicit DK_TextCombox(QWidget* parent = nullptr);

    void SetDropEnabled(bool on) { isDrop = on; }
    bool IsDropEnabled() const { return isDrop; }

    void showPopup() override;

signals:
    // The name is connected to by name elsewhere; keep its spelling.
    void singalMimeDataUrls(DK_TextCombox* pLineEdit, const QList<QUrl>& urls);
    // The item list is about to be shown: the moment to bring it up to date.
    void popupAboutToShow();

protected:
    bool event(QEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dragMoveEvent(QDragMoveEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private:
    void AcceptDrag(QDropEvent* event);

    bool isDrop = true;
};
