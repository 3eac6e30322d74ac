#pragma once
// CIFImageWell: a small picture well for an image input of the ready-made
// controls. It shows its picture; a click offers the names of its library
// (from its data source) and shows the one chosen; a picture file dropped
// on it is loaded and shown. Every change made by the user is reported
// through imageChanged; setImage changes the picture without reporting.

#include <QStringList>
#include <QToolButton>
#include <functional>

#include "platform/host/HostImage.h"

namespace cif {

class CIFImageWell final : public QToolButton {
    Q_OBJECT
    Q_PROPERTY(cif::HostImage image READ image WRITE setImage)

public:
    explicit CIFImageWell(QWidget* parent = nullptr);

    HostImage image() const { return m_image; }
    void setImage(const HostImage& image);
    // The picker's title (its menu's and tool tip's).
    void setTitle(const QString& title);
    // The data source: the library's names, and the picture of a name.
    void setNamesSource(std::function<QStringList()> names) { m_names = std::move(names); }
    void setImageSource(std::function<HostImage(const QString&)> image) {
        m_imageForName = std::move(image);
    }
    // Shows the picture of `name` as if the user had chosen it; false (and
    // nothing changes) when the source has no picture of that name.
    bool chooseName(const QString& name);

signals:
    void imageChanged();

protected:
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private:
    void fillMenu();

    HostImage m_image;
    std::function<QStringList()> m_names;
    std::function<HostImage(const QString&)> m_imageForName;
};

}  // namespace cif
