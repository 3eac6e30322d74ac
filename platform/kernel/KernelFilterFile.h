#pragma once
// Third-party filter files: a filter described in JSON whose computation is
// a kernel in the platform's kernel language. Each valid file in the filter
// plug-in folders becomes a registered filter (CIPlugIn::loadAllPlugIns).
//
// The format (UTF-8 JSON, at most 1 MiB):
//
//   {
//     "name": "MyVignette",              filter name: letters, digits, '_'
//     "displayName": "My Vignette",      optional, defaults to the name
//     "categories": ["CICategoryStylize", ...],   optional
//     "inputs": [                        the filter's inputs, in order (<= 64)
//       { "key": "inputImage", "class": "CIImage", "displayName": "Image" },
//       { "key": "inputRadius", "class": "NSNumber",
//         "type": "CIAttributeTypeDistance", "default": 100,
//         "min": 0, "max": 2000, "sliderMin": 0, "sliderMax": 800,
//         "displayName": "Radius" },
//       { "key": "inputCenter", "class": "CIVector", "default": [150, 150] },
//       { "key": "inputColor", "class": "CIColor", "default": [1, 0, 0, 1] }
//     ],
//     "kernel": "kernel vec4 vignette(sampler image, float radius) { ... }",
//     "kernelName": "vignette",          optional: which kernel function of
//                                        the source; the first by default
//     "kind": "general",                 optional: "general", "color" or
//                                        "warp"; must match the kernel's
//     "image": "inputImage",             a warp's input: the CIImage input
//                                        it reads (default "inputImage")
//     "arguments": ["inputImage", "inputRadius"]
//   }
//
// "key" must begin with "input"; "class" is NSNumber, CIVector, CIColor or
// CIImage; "type" is any CIAttributeType* name; "default", "min", "max",
// "sliderMin" and "sliderMax" are numbers for NSNumber inputs, "default" is
// an array of numbers for CIVector and CIColor inputs (colours: r g b [a],
// sRGB, 0 to 1). "arguments" names, for each parameter of the kernel
// function in order, the input that feeds it: a CIImage input for a sampler,
// an NSNumber input for a float, a CIVector input for a vec2/vec3/vec4 and
// a CIColor input for a __color; __sample parameters take CIImage inputs
// too. The result's extent is that of the first image argument (a warp's:
// its input image's); a kernel without images is a generator of infinite
// extent. A filter whose image input is not set has no output.

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QVariantMap>

#include <memory>

#include "platform/kernel/CIKernel.h"

namespace cif::kernel {

// A filter file, read and checked.
struct KernelFilterDescription {
    QString name;
    QVariantMap classAttributes;  // display name, categories, one dictionary per input
    QStringList inputKeys;        // in the file's order
    CIKernel kernel;
    QStringList arguments;  // input key per kernel parameter
    QString warpImage;      // a warp kernel's input image key
};

// Parses and checks the JSON text of a filter file, compiling its kernel.
// False with a one-line reason in *error (a compile error gives the first
// diagnostic with its line and column in the kernel text).
bool parseKernelFilter(const QByteArray& json, KernelFilterDescription& out, QString* error);

// A filter description for a bare kernel: the first image parameter (a
// warp's input) becomes "inputImage", every other parameter an input named after it
// (samplers CIImage, floats NSNumber with default 0, vectors CIVector of
// zeros, colours CIColor opaque black).
KernelFilterDescription describeKernel(const CIKernel& kernel, const QString& name);

// Registers the filter of a description. Refuses (false with the reason) to
// replace a registered filter that did not come from a filter file.
bool registerKernelFilter(std::shared_ptr<const KernelFilterDescription> description,
                          QString* error);

// Reads, checks and registers the filter of one file. Answers false with a
// one-line reason (without the path) when the file cannot be read, is broken,
// or would replace a filter that did not come from a filter file. On success
// *name, when given, receives the registered filter name.
bool loadKernelFilterFile(const QString& path, QString* error, QString* name = nullptr);

}  // namespace cif::kernel
