#pragma once
// CIFColorWell: a small button showing a colour; a click opens a colour
// dialog (with alpha) and a chosen colour becomes the well's colour and is
// reported through colorChanged, the well's action. setColor changes the
// colour without reporting. The well's tag says which input it edits.

#include <QColor>
#include <QToolButton>

namespace cif {

class CIFColorWell final : public QToolButton {
    Q_OBJECT

public:
    explicit CIFColorWell(QWidget* parent = nullptr);

    QColor color() const { return m_color; }
    void setColor(const QColor& color);
    int tag() const { return m_tag; }
    void setTag(int tag) { m_tag = tag; }
    // The well that last reported a colour change (the active well); null
    // when none has, or it is gone.
    static CIFColorWell* activeWell();

signals:
    void colorChanged(const QColor& color);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    void chooseColor();

    QColor m_color = Qt::white;
    int m_tag = 0;
};

}  // namespace cif
