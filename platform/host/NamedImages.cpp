#include "platform/host/NamedImages.h"

#include <QHash>

namespace cif {

namespace {

QHash<QString, HostImage>& registry() {
    static QHash<QString, HostImage> images;
    return images;
}

}  // namespace

HostImage NamedImages::imageNamed(const QString& name) {
    return registry().value(name);
}

void NamedImages::setName(const QString& name, const HostImage& image) {
    if (image.isNull())
        registry().remove(name);
    else
        registry().insert(name, image);
}

}  // namespace cif
