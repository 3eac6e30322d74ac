#include "tools/resgen/ContactSheet.h"

#include <QDir>
#include <QFileInfo>
#include <QFont>
#include <QPainter>
#include <algorithm>

namespace cif::resgen {

namespace {

constexpr int kColumns = 6;
constexpr int kCellWidth = 190, kPictureBox = 160, kLabelHeight = 34, kCellHeight = 206;
constexpr int kHeading = 40, kMargin = 16;

struct Group {
    QString folder;
    std::vector<const GeneratedPicture*> members;
};

void drawChecker(QPainter& p, const QRect& r) {
    p.fillRect(r, QColor(255, 255, 255));
    constexpr int kSquare = 8;
    for (int y = r.top(); y < r.bottom(); y += kSquare)
        for (int x = r.left(); x < r.right(); x += kSquare)
            if (((x - r.left()) / kSquare + (y - r.top()) / kSquare) % 2 == 1)
                p.fillRect(QRect(x, y, kSquare, kSquare).intersected(r), QColor(214, 214, 214));
}

}  // namespace

QImage contactSheet(const QString& resourcesDir, const std::vector<GeneratedPicture>& pictures) {
    std::vector<Group> groups;
    for (const GeneratedPicture& picture : pictures) {
        const QString path = picture.path;
        // Library pictures group by library; named pictures by their folder.
        QString folder = QFileInfo(path).path();
        for (const char* library : {"Masks", "Gradients", "Backgrounds"}) {
            const QString prefix = QStringLiteral("SharedContent/") + QLatin1String(library);
            if (folder.startsWith(prefix)) folder = prefix;
        }
        if (groups.empty() || groups.back().folder != folder) groups.push_back({folder, {}});
        groups.back().members.push_back(&picture);
    }
    int height = kMargin;
    for (const Group& g : groups)
        height += kHeading + int((g.members.size() + kColumns - 1) / kColumns) * kCellHeight;
    const int width = 2 * kMargin + kColumns * kCellWidth;

    QImage sheet(width, height + kMargin, QImage::Format_RGB32);
    sheet.fill(QColor(244, 244, 240));
    QPainter p(&sheet);
    p.setRenderHint(QPainter::SmoothPixmapTransform);
    QFont heading(QStringLiteral("DejaVu Sans"));
    heading.setPixelSize(20);
    heading.setBold(true);
    QFont label(QStringLiteral("DejaVu Sans"));
    label.setPixelSize(12);

    const QDir root(resourcesDir);
    int y = kMargin;
    for (const Group& g : groups) {
        p.setFont(heading);
        p.setPen(QColor(40, 40, 50));
        p.drawText(
            QRect(kMargin, y, width - 2 * kMargin, kHeading), Qt::AlignLeft | Qt::AlignVCenter,
            g.folder.isEmpty() || g.folder == QLatin1String(".") ? QStringLiteral("Resources")
                                                                 : g.folder);
        y += kHeading;
        for (size_t i = 0; i < g.members.size(); ++i) {
            const int col = int(i % kColumns), row = int(i / kColumns);
            const QRect cell(kMargin + col * kCellWidth, y + row * kCellHeight, kCellWidth - 10,
                             kCellHeight - 10);
            p.fillRect(cell, Qt::white);
            const QRect box(cell.left() + (cell.width() - kPictureBox) / 2, cell.top() + 6,
                            kPictureBox, kPictureBox);
            const QString path = g.members[i]->path;
            const QImage image = decodePicture(root.filePath(path));
            QString caption = QFileInfo(path).fileName();
            if (g.folder != QFileInfo(path).path())
                caption = QFileInfo(path).path().mid(g.folder.size() + 1) + u'/' + caption;
            if (image.isNull()) {
                p.fillRect(box, QColor(250, 200, 200));
                caption += QStringLiteral(" (unreadable)");
            } else {
                // Fit the picture into the box; tiny ones grow by whole factors.
                QSize size = image.size();
                const bool small = size.width() <= 80 && size.height() <= 80;
                if (small) {
                    const int factor =
                        std::min(kPictureBox / size.width(), kPictureBox / size.height());
                    size *= std::max(1, size.width() <= 32 ? factor / 2 : factor);
                } else {
                    size.scale(std::min(size.width(), kPictureBox),
                               std::min(size.height(), kPictureBox), Qt::KeepAspectRatio);
                }
                const QRect target(box.left() + (box.width() - size.width()) / 2,
                                   box.top() + (box.height() - size.height()) / 2, size.width(),
                                   size.height());
                drawChecker(p, target);
                p.setRenderHint(QPainter::SmoothPixmapTransform, !small);
                p.drawImage(target, image);
                caption += QStringLiteral("  %1\u00d7%2").arg(image.width()).arg(image.height());
            }
            p.setFont(label);
            p.setPen(QColor(30, 30, 30));
            p.drawText(QRect(cell.left() + 4, box.bottom() + 4, cell.width() - 8, kLabelHeight),
                       Qt::AlignHCenter | Qt::AlignTop | Qt::TextWordWrap, caption);
        }
        y += int((g.members.size() + kColumns - 1) / kColumns) * kCellHeight;
    }
    p.end();
    return sheet;
}

}  // namespace cif::resgen
