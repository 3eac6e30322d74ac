#pragma once
// A view that fills itself with its colour (by default the window
// background colour of its palette).

#include <QColor>
#include <QWidget>

namespace cif {

class CIFColoredView : public QWidget {
    Q_OBJECT
public:
    explicit CIFColoredView(QWidget* parent = nullptr) : QWidget(parent) {}
    // An invalid colour means the palette's window colour.
    void setColor(const QColor& color) {
        m_color = color;
        update();
    }
    // A one-point outline inside the edge; invalid (the default) for none.
    void setBorderColor(const QColor& color) {
        m_border = color;
        update();
    }
    QColor color() const { return m_color.isValid() ? m_color : palette().color(QPalette::Window); }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QColor m_color;
    QColor m_border;
};

}  // namespace cif
