#pragma once
// Draws the items of a QMenu as a list inside a view (the commands under the
// picker's grid). Items are 17 points high at a pitch of 19, from the top:
// item i occupies (0, 19 i, width, 17); the 2-point gap above an item belongs
// to it. The hovered item is drawn highlighted; disabled items in the
// disabled text colour, separators as a grey line, checked items with a
// check mark, indented by the action's "indentationLevel" property (10
// points a level). A press on a hovered, enabled item triggers its action.
// Keyboard: Up/Down move the hover, Return/Space trigger. The menu is
// borrowed and must outlive the view. Main thread only.

#include <QPointer>
#include <QWidget>
#include <functional>

#include <QMenu>

namespace cif {

class CIFMenuItemView;

struct CIFMenuItemViewDelegate {
    // Asked once when the view is shown without a menu.
    std::function<QMenu*(CIFMenuItemView*)> menuForMenuItemView;
    // Told after setMenu, so the owner can resize around the view.
    std::function<void(CIFMenuItemView*)> menuItemViewDidChangeMenu;
};

class CIFMenuItemView : public QWidget {
    Q_OBJECT
public:
    static constexpr int kItemHeight = 17;
    static constexpr int kItemPitch = 19;

    explicit CIFMenuItemView(QWidget* parent = nullptr);

    void setDelegate(const CIFMenuItemViewDelegate& delegate) { m_delegate = delegate; }
    void setMenu(QMenu* menu);
    QMenu* menu() const { return m_menu; }
    QList<QAction*> items() const;

    QRect rectOfItemAtIndex(int index) const;
    // The item under point (by its distance from the top edge), or -1.
    int indexOfItemAtPoint(QPointF point) const;
    int hoveredIndex() const { return m_hovered; }
    // 19 n - 2 points high for n items; the top edge stays.
    void sizeToFit();
    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void leaveEvent(QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    void setHovered(int index);
    void perform(int index);

    CIFMenuItemViewDelegate m_delegate;
    QPointer<QMenu> m_menu;
    int m_hovered = -1;
};

}  // namespace cif
