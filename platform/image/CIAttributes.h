#pragma once
// The platform's attribute, category and key names, as the strings they are.

#include <QString>

namespace cif {

#define CIF_STRING_CONSTANT(name) inline const QString name = QStringLiteral(#name).mid(1);

// Attribute dictionary keys.
CIF_STRING_CONSTANT(kCIAttributeFilterName)
CIF_STRING_CONSTANT(kCIAttributeFilterDisplayName)
CIF_STRING_CONSTANT(kCIAttributeFilterCategories)
CIF_STRING_CONSTANT(kCIAttributeDescription)
CIF_STRING_CONSTANT(kCIAttributeClass)
CIF_STRING_CONSTANT(kCIAttributeType)
CIF_STRING_CONSTANT(kCIAttributeDefault)
CIF_STRING_CONSTANT(kCIAttributeIdentity)
CIF_STRING_CONSTANT(kCIAttributeMin)
CIF_STRING_CONSTANT(kCIAttributeMax)
CIF_STRING_CONSTANT(kCIAttributeSliderMin)
CIF_STRING_CONSTANT(kCIAttributeSliderMax)
CIF_STRING_CONSTANT(kCIAttributeDisplayName)

// Attribute types.
CIF_STRING_CONSTANT(kCIAttributeTypeTime)
CIF_STRING_CONSTANT(kCIAttributeTypeScalar)
CIF_STRING_CONSTANT(kCIAttributeTypeDistance)
CIF_STRING_CONSTANT(kCIAttributeTypeAngle)
CIF_STRING_CONSTANT(kCIAttributeTypeBoolean)
CIF_STRING_CONSTANT(kCIAttributeTypeInteger)
CIF_STRING_CONSTANT(kCIAttributeTypeCount)
CIF_STRING_CONSTANT(kCIAttributeTypePosition)
CIF_STRING_CONSTANT(kCIAttributeTypeOffset)
CIF_STRING_CONSTANT(kCIAttributeTypePosition3)
CIF_STRING_CONSTANT(kCIAttributeTypeRectangle)
CIF_STRING_CONSTANT(kCIAttributeTypeColor)
CIF_STRING_CONSTANT(kCIAttributeTypeOpaqueColor)
CIF_STRING_CONSTANT(kCIAttributeTypeGradient)
CIF_STRING_CONSTANT(kCIAttributeTypeImage)
CIF_STRING_CONSTANT(kCIAttributeTypeTransform)

// Filter categories.
CIF_STRING_CONSTANT(kCICategoryDistortionEffect)
CIF_STRING_CONSTANT(kCICategoryGeometryAdjustment)
CIF_STRING_CONSTANT(kCICategoryCompositeOperation)
CIF_STRING_CONSTANT(kCICategoryHalftoneEffect)
CIF_STRING_CONSTANT(kCICategoryColorAdjustment)
CIF_STRING_CONSTANT(kCICategoryColorEffect)
CIF_STRING_CONSTANT(kCICategoryTransition)
CIF_STRING_CONSTANT(kCICategoryTileEffect)
CIF_STRING_CONSTANT(kCICategoryGenerator)
CIF_STRING_CONSTANT(kCICategoryReduction)
CIF_STRING_CONSTANT(kCICategoryGradient)
CIF_STRING_CONSTANT(kCICategoryStylize)
CIF_STRING_CONSTANT(kCICategorySharpen)
CIF_STRING_CONSTANT(kCICategoryBlur)
CIF_STRING_CONSTANT(kCICategoryVideo)
CIF_STRING_CONSTANT(kCICategoryStillImage)
CIF_STRING_CONSTANT(kCICategoryInterlaced)
CIF_STRING_CONSTANT(kCICategoryNonSquarePixels)
CIF_STRING_CONSTANT(kCICategoryHighDynamicRange)
CIF_STRING_CONSTANT(kCICategoryBuiltIn)

#undef CIF_STRING_CONSTANT

// Standard input and output keys.
inline const QString kCIInputImageKey = QStringLiteral("inputImage");
inline const QString kCIOutputImageKey = QStringLiteral("outputImage");

// CIFilter::apply option: the CISampler or CIImage whose extent the result has.
inline const QString kCIApplyOptionDefinition = QStringLiteral("definition");

// The numeric and value attributes of one input as JSON descriptions name
// them (the built-in table and filter files share this spelling).
struct CIJsonAttributeField {
    const char* json;
    const QString& attribute;
};
inline const CIJsonAttributeField kCIJsonAttributeFields[] = {{"default", kCIAttributeDefault},
                                                              {"identity", kCIAttributeIdentity},
                                                              {"min", kCIAttributeMin},
                                                              {"max", kCIAttributeMax},
                                                              {"sliderMin", kCIAttributeSliderMin},
                                                              {"sliderMax", kCIAttributeSliderMax}};

// Attribute classes as the dictionaries name them.
inline const QString kCIClassNumber = QStringLiteral("NSNumber");
inline const QString kCIClassVector = QStringLiteral("CIVector");
inline const QString kCIClassColor = QStringLiteral("CIColor");
inline const QString kCIClassImage = QStringLiteral("CIImage");
inline const QString kCIClassTransform = QStringLiteral("NSAffineTransform");
inline const QString kCIClassString = QStringLiteral("NSString");

}  // namespace cif
