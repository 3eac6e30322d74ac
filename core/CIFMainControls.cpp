// The principal object's ready-made controls for a host: the panel height,
// the controls themselves (built by the editor layer) and the one signal
// through which their actions reach the host; and the composition look-ups
// they share.

#include <QVariant>

#include "core/CIFControlKind.h"
#include "core/CIFEditorInterface.h"
#include "core/CIFMain.h"
#include "core/QCCompositionRepository.h"
#include "platform/image/CIFilter.h"

namespace cif {

void CIFMain::registerCompositionRepositoryClass(const QString& className,
                                                 QCCompositionRepositoryClass sharedRepository) {
    cif::registerCompositionRepositoryClass(className, std::move(sharedRepository));
}

bool CIFMain::compositionWithIdentifier(const QString& identifier, QCComposition* out) {
    const QCCompositionRepositoryClass repositoryClass =
        compositionRepositoryClassNamed(QStringLiteral("QCCompositionRepository"));
    if (!repositoryClass) return false;
    const std::shared_ptr<QCCompositionRepository> repository = repositoryClass();
    return repository && repository->compositionWithIdentifier(identifier, out);
}

bool CIFMain::inputsForControls(const QString& name, QStringList* inputKeys,
                                QVariantMap* attributes) const {
    if (const auto filter = CIFilter::filterWithName(name)) {
        *inputKeys = filter->inputKeys();
        *attributes = filter->attributes();
        return true;
    }
    QCComposition composition;
    if (!compositionWithIdentifier(name, &composition)) return false;
    *attributes = composition.attributes;
    *inputKeys = composition.inputKeys;
    if (inputKeys->isEmpty()) {
        for (auto it = attributes->cbegin(); it != attributes->cend(); ++it)
            if (it.value().typeId() == QMetaType::QVariantMap) *inputKeys << it.key();
    }
    return true;
}

float CIFMain::CIFHeightForControlsOfFilterName(const QString& name) {
    QStringList keys;
    QVariantMap attributes;
    if (!inputsForControls(name, &keys, &attributes)) return 0;
    return heightForControlsOfInputs(name, keys, attributes);
}

QList<QWidget*> CIFMain::CIFControlsForFilterNameViewFrame(const QString& name,
                                                           const QRectF& frame) {
    const CIFControlsBuilder& build = controlsBuilder();
    return build ? build(*this, name, frame) : QList<QWidget*>();
}

QMetaObject::Connection CIFMain::CIFConnectControlActions(
    QObject* context, std::function<void(const QString& action, QObject* control)> handler) {
    if (!context || !handler) return {};
    return connect(this, &CIFMain::CIFControlAction, context, std::move(handler));
}

void CIFMain::sendControlAction(const QString& action, QObject* control) {
    if (!control || !control->property("representedObject").isValid()) return;
    emit CIFControlAction(action, control);
}

}  // namespace cif
