#include "widgets/CIFColoredView.h"

#include <QPainter>

namespace cif {

void CIFColoredView::paintEvent(QPaintEvent*) {
    QPainter(this).fillRect(rect(), color());
}

}  // namespace cif
