#pragma once
// The process-wide registry of pictures by name: a picture registered under
// a name is answered, as the same shared picture, by every later look-up of
// that name. Main thread only.

#include <QString>

#include "platform/host/HostImage.h"

namespace cif {

class NamedImages {
public:
    // The picture registered under name; the null picture when none is.
    static HostImage imageNamed(const QString& name);
    // Registers (or with the null picture removes) a picture under name.
    static void setName(const QString& name, const HostImage& image);
};

}  // namespace cif
