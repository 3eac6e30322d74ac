#include "core/CIFCatalogTables.h"

#include "filters/AffineTransform1.h"
#include "filters/BlackWhite.h"
#include "filters/NetDistortion.h"
#include "filters/Offset.h"
#include "filters/Shading.h"
#include "filters/SlideFrame.h"
#include "filters/Sobel.h"
#include "filters/TransparentColor.h"
#include "filters/TransparentFilter.h"

namespace cif::catalog {

namespace {

// Members of the groups keep this order; they are never sorted.
constexpr EntryRow kBlurMembers[] = {
    {"Gaussian Blur", "CIGaussianBlur", "GaussianBlurIcon", 0, numberTag(33), floats(7.0, 0, 0),
     floatMax(0), kNewerOnly},
    {"Box Blur", "CIBoxBlur", "CIBoxBlurIcon", 0, numberTag(33), floats(7.0, 0, 0), floatMax(0),
     kNewerOnly},
    {"Disc Blur", "CIDiscBlur", "CIDiscBlurIcon", 0, numberTag(33), floats(6.0, 0, 0), floatMax(0),
     kNewerOnly},
};
constexpr GroupRow kBlurGroup{3, kBlurMembers};

constexpr EntryRow kTiledMembers[] = {
    {"Fourfold Rotated", "CIFourfoldRotatedTile", "CIFourfoldRotatedTileIcon", 1, numberTag(31),
     floats(0, 100.0, 100.0), floatMax(3.14), kNewerOnly | kLocalised},
    {"Fourfold Translated", "CIFourfoldTranslatedTile", "CIFourfoldTranslatedTileIcon", 1,
     numberTag(31), floats(0, 1.57, 100.0), floatMax(3.14), kNewerOnly | kLocalised},
    {"Glide Reflected", "CIGlideReflectedTile", "CIGlideReflectedTileIcon", 1, numberTag(31),
     floats(0, 100.0, 0), floatMax(3.14), kNewerOnly | kLocalised},
};
constexpr GroupRow kTiledGroup{1, kTiledMembers};

// Twelvefold Reflected has no defaults and a string tag, unlike its siblings.
constexpr EntryRow kReflectedMembers[] = {
    {"Eightfold Reflected", "CIEightfoldReflectedTile", "CIEightfoldReflectedTileIcon", 1,
     numberTag(32), floats(0, 100.0, 0), floatMax(3.14), kNewerOnly | kLocalised},
    {"Twelvefold Reflected",
     "CITwelvefoldReflectedTile",
     "CITwelvefoldReflectedTileIcon",
     1,
     stringTag(32),
     {},
     {},
     kNewerOnly | kLocalised},
    {"Sixfold Reflected", "CISixfoldReflectedTile", "CISixfoldReflectedTileIcon", 1, numberTag(32),
     floats(0, 100.0, 0), floatMax(3.14), kNewerOnly | kLocalised},
    {"Sixfold Rotated", "CISixfoldRotatedTile", "CISixfoldRotatedTileIcon", 1, numberTag(32),
     floats(0, 100.0, 0), floatMax(3.14), kNewerOnly | kLocalised},
};
constexpr GroupRow kReflectedGroup{2, kReflectedMembers};

constexpr EntryRow kCrop[] = {
    {"Crop", "Crop", "CropIcon", 255, numberTag(1), ints(0, 0, 0), intMax(0)},
};

constexpr EntryRow kTransform[] = {
    {"Affine Transform", "CIAffineTransform", "CIAffineTransformIcon", 1, stringTag(50)},
    {"Lanczos Scale",
     "CILanczosScaleTransform",
     "CILanczosScaleTransformIcon",
     0,
     stringTag(50),
     {},
     {},
     kLocalised},
    {"Perspective Transform",
     "CIPerspectiveTransform",
     "CIPerspectiveTransformIcon",
     0,
     stringTag(50),
     {},
     {},
     kMultiPoints},
    {"Transform",
     "CIFAffineTransform2Filter",
     "CIFAffineTransform2FilterIcon",
     0,
     {},
     floats(0.2, 0, 0),
     {},
     0,
     &AffineTransform1::touchClass},
};

constexpr EntryRow kColor[] = {
    {"Color Controls", "CIColorControls", "ColorControlsIcon", 0, stringTag(50)},
    {"Exposure Adjust", "CIExposureAdjust", "ExposureAdjustIcon", 0, stringTag(50)},
    {"Gamma Adjust", "CIGammaAdjust", "GammaAdjustIcon", 0, stringTag(50)},
    {"Hue Adjust", "CIHueAdjust", "HueAdjustIcon", 0, stringTag(50)},
    {"White Point Adjust", "CIWhitePointAdjust", "WhitePointAdjustIcon", 2, {}, floats(0, 0, 0)},
    {"Color Monochrome", "CIColorMonochrome", "ColorMonochromeIcon", 2, {}, floats(1.0, 0, 0)},
    {"Color Posterize", "CIColorPosterize", "ColorPosterizeIcon", 0, {}, floats(5.37, 0, 0)},
    {"Color Invert", "CIColorInvert", "ColorInvertIcon", 0, {}, floats(0, 0, 0)},
    {"Transparent",
     "CIFTransparentFilter",
     "CIFTransparentFilterIcon",
     0,
     {},
     floats(0.25, 0, 0),
     {},
     0,
     &TransparentFilter::touchClass},
    {"Transparent Color", "CIFTransparentColorFilter", "CIFTransparentColorFilterIcon", 2,
     numberTag(0), floats(0.9, 0, 0), floatMax(1.0), 0, &TransparentColor::touchClass},
    {"False Color", "CIFalseColor", "CIFTransparentColorFilterIcon", 2, {}, floats(0.9, 0, 0)},
    {"Sepia Tone", "CISepiaTone", "CISepiaToneIcon", 0, stringTag(50)},
    {"Bi-Color", "CIFBlackWhiteFilter", "CIFBlackWhiteFilterIcon", 2, numberTag(0),
     floats(0.5, 0, 1.0), floatMax(1.0), 0, &BlackWhite::touchClass},
    {"Comic Effect", "CIComicEffect", "ColorInvertIcon", 0, {}, floats(0, 0, 0), {}, kNewerOnly},
    {"CMYK Halftone", "CICMYKHalftone", "CICMYKHalftoneIcon", 1, stringTag(50)},
    {"Spot Color", "CISpotColor", "CISpotColorIcon", 2, stringTag(50)},
    {"Color Map", "CIColorMap", "CIColorMapIcon", 0, stringTag(50)},
    {"Color Matrix", "CIColorMatrix", "CIColorMatrixIcon", 0, stringTag(50)},
    {"Mask To Alpha", "CIMaskToAlpha", "CIMaskToAlphaIcon", 0, stringTag(50)},
};

// On the newer platform the Blur group stands where the older one lists a
// plain Gaussian Blur.
constexpr EntryRow kFocus[] = {
    {"Unsharp Mask", "CIUnsharpMask", "UnsharpMaskIcon", 0, {}, floats(1.0, 0.25, 0)},
    {"Noise Reduction",
     "CINoiseReduction",
     "CICopyMachineTransitionTransitionIcon",
     0,
     {},
     floats(0.25, 0, 70.0)},
    {"Blur", "BlurFilters", nullptr, 0, numberTag(33), {}, {}, kNewerOnly, nullptr, &kBlurGroup},
    {"Gaussian Blur", "CIGaussianBlur", "GaussianBlurIcon", 0, numberTag(0), floats(7.0, 0, 0),
     intMax(0), kOlderOnly},
    {"Motion Blur", "CIMotionBlur", "MotionBlurIcon", 0, numberTag(0), floats(42.0, 0.5, 0),
     floatMax(0)},
    {"Sharpen Luminance", "CISharpenLuminance", "SharpenLuminanceIcon", 0, {}, floats(4.0, 0, 0)},
    {"Zoom Blur", "CIZoomBlur", "ZoomBlurIcon", 1, stringTag(50)},
    {"Median", "CIMedianFilter", "CIMedianFilterIcon", 0},
};

constexpr EntryRow kDistortion[] = {
    {"Bump Distortion", "CIBumpDistortion", "BumpDistortionIcon", 1, stringTag(50)},
    {"Bump Distortion Linear",
     "CIBumpDistortionLinear",
     "CIBumpDistortionLinearIcon",
     1,
     stringTag(50),
     {},
     {},
     kNewerOnly},
    {"Circular Splash", "CICircleSplashDistortion", "CircularSplashDistortionIcon", 1,
     stringTag(50)},
    {"Rectangular Splash", "CIFSlideFrameFilter", "CIFSlideFrameFilterIcon", 1, numberTag(50),
     floats(0.8, 0.8, 70.0), floatMax(1.0), 0, &SlideFrame::touchClass},
    {"Circular Wrap", "CICircularWrap", "CircularWrapIcon", 1, stringTag(50)},
    {"Hole Distortion", "CIHoleDistortion", "HoleDistortionIcon", 1, stringTag(50)},
    {"Pinch Distortion", "CIPinchDistortion", "PinchDistortionIcon", 1, stringTag(50)},
    {"Twirl Distortion", "CITwirlDistortion", "TwirlDistortionIcon", 1, stringTag(50)},
    {"Vortex Distortion", "CIVortexDistortion", "VortexDistortionIcon", 1, stringTag(50)},
    {"Glass Distortion", "CIGlassDistortion", "GlassDistortionIcon", 1, stringTag(50)},
    {"Displacement Distortion", "CIDisplacementDistortion", "CIDisplacementDistortionIcon", 0,
     stringTag(50)},
    {"Net Distortion", "CIFNetDistortion", "CIFNetDistortionIcon", 0, numberTag(0),
     floats(8.0, 5.0, 20.0), floatMax(20.0), 0, &NetDistortion::touchClass},
    {"Torus Lens", "CITorusLensDistortion", "CITorusLensDistortionMachineIcon", 1, stringTag(50)},
    {"Glass Lozenge",
     "CIGlassLozenge",
     "CIGlassLozengeIcon",
     0,
     stringTag(50),
     {},
     {},
     kMultiPoints},
    {"Affine Clamp", "CIAffineClamp", "CIAffineClampIcon", 1, stringTag(50)},
};

constexpr EntryRow kStyle[] = {
    {"Bloom", "CIBloom", "BloomIcon", 0, {}, floats(10.0, 0.6, 0)},
    {"Gloom", "CIGloom", "GloomIcon", 0, {}, floats(10.0, 0.6, 0)},
    {"Crystallize", "CICrystallize", "CrystallizeIcon", 1, stringTag(50)},
    {"Pointillize", "CIPointillize", "PointillizeIcon", 1, stringTag(50)},
    {"Pixellate", "CIPixellate", "PixellateIcon", 1, stringTag(50)},
    {"Hexagonal Pixellate",
     "CIHexagonalPixellate",
     "CIHexagonalPixellateIcon",
     1,
     stringTag(50),
     {},
     {},
     kNewerOnly},
    {"Edge Work", "CIEdgeWork", "EdgeWorkIcon", 0, {}, floats(2.5, 0, 0)},
    {"Sobel", "CIFSobel", "SobelIcon", 0, numberTag(0), floats(1.0, 0, 0), floatMax(10.0), 0,
     &Sobel::touchClass},
    {"Edges", "CIEdges", "EdgesIcon", 0, numberTag(0), floats(10.0, 0, 0), floatMax(100.0)},
    {"Line Overlay",
     "CILineOverlay",
     "CILineOverlayIcon",
     0,
     {},
     floats(0.07, 0.71, 1.5),
     {},
     kNewerOnly},
    {"Shaded Materials", "CIFShadingFilter", "ShadedMaterialIcon", 0, numberTag(50),
     floats(5.5, 3.0, 0), floatMax(15.0), 0, &Shading::touchClass},
    {"Random Generator", "CIRandomGenerator", "RandomGeneratorIcon", 0, {}, floats(1.0, 1.0, 1.0)},
    {"Height Field From Mask", "CIHeightFieldFromMask", "CIHeightFieldFromMaskIcon", 0,
     stringTag(50)},
};

constexpr EntryRow kHalftone[] = {
    {"Circular Screen", "CICircularScreen", "CircularScreenIcon", 1, stringTag(50)},
    {"Dot Screen", "CIDotScreen", "DotScreenIcon", 1, stringTag(50)},
    {"Hatched Screen", "CIHatchedScreen", "HatchedScreenIcon", 1, stringTag(50)},
    {"Line Screen", "CILineScreen", "LineScreenIcon", 1, stringTag(50)},
    {"Maximum Component",
     "CIMaximumComponent",
     "CIMaximumComponentIcon",
     0,
     stringTag(50),
     {},
     {},
     kNewerOnly},
    {"Minimum Component",
     "CIMinimumComponent",
     "CIMinimumComponentIcon",
     0,
     stringTag(50),
     {},
     {},
     kNewerOnly},
};

constexpr EntryRow kTile[] = {
    {"Affine Tile", "CIAffineTile", "CIAffineTileIcon", 1, stringTag(50)},
    {"Kaleidoscope", "CIKaleidoscope", "KaleidoscopeIcon", 1, stringTag(50)},
    {"Square Tile", "CIFOffset", "OffsetIcon", 1, stringTag(50), {}, {}, 0, &Offset::touchClass},
    {"Op Tile", "CIOpTile", "OpTileIcon", 1, stringTag(50)},
    {"Parallelogram Tile", "CIParallelogramTile", "ParallelogramTileIcon", 1, stringTag(50)},
    {"Triangle Tile", "CITriangleTile", "TriangleTileIcon", 1, stringTag(50)},
    {"Tiled Textures",
     "TiledTextures",
     nullptr,
     1,
     numberTag(31),
     {},
     {},
     kNewerOnly | kLocalised,
     nullptr,
     &kTiledGroup},
    {"Reflected Textures",
     "ReflectedTextures",
     nullptr,
     1,
     numberTag(32),
     {},
     {},
     kNewerOnly,
     nullptr,
     &kReflectedGroup},
    {"Fourfold Reflected",
     "CIFourfoldReflectedTile",
     "CIFourfoldReflectedTileIcon",
     1,
     stringTag(50),
     {},
     {},
     kNewerOnly},
    {"Perspective Tile",
     "CIPerspectiveTile",
     "CIPerspectiveTileIcon",
     0,
     stringTag(50),
     {},
     {},
     kMultiPoints},
};

constexpr EntryRow kLumine[] = {
    {"Lenticular Halo", "CILenticularHaloGenerator", "LenticularHaloGeneratorIcon", 3,
     stringTag(50)},
    {"Starshine Generator", "CIStarShineGenerator", "StarshineGeneratorIcon", 3, stringTag(50)},
    {"Sunbeams", "CISunbeamsGenerator", "SunbeamsIcon", 3, stringTag(50)},
    {"Gaussian Gradient", "CIGaussianGradient", "CIGaussianGradientIcon", 3, stringTag(50)},
    {"Radial Gradient", "CIRadialGradient", "CIRadialGradientIcon", 3, stringTag(50)},
    {"Constant Color", "CIConstantColorGenerator", "CIConstantColorIcon", 2, stringTag(50)},
    {"Spot Light", "CISpotLight", "CISpotLightIcon", 0, stringTag(50), {}, {}, kMultiPoints},
    {"Linear Gradient",
     "CILinearGradient",
     "CILinearGradientIcon",
     3,
     stringTag(50),
     {},
     {},
     kMultiPoints},
};

constexpr EntryRow kOverlap[] = {
    {"Blend With Mask", "CIBlendWithMask", "CICIBlendWithMaskIcon", 0, stringTag(50)},
    {"Disintegrate With Mask", "CIDisintegrateWithMaskTransition",
     "CIDisintegrateWithMaskTransitionkIcon", 0, stringTag(50)},
    {"Mod Transition", "CIModTransition", "ModTransitionIcon", 1, numberTag(50),
     floats(0.25, 0, 70.0, 0.2)},
    {"Bars Swipe Transition",
     "CIBarsSwipeTransition",
     "CIBarsSwipeTransitionIcon",
     0,
     numberTag(50),
     floats(2.38, 30.0, 10.0, 0.3),
     {},
     kNewerOnly},
    {"Checkerboard Generator", "CICheckerboardGenerator", "CheckerboardGeneratorIcon", 3,
     stringTag(50)},
    {"Stripes", "CIStripesGenerator", "CICopyMachineTransitionIcon", 3, stringTag(50)},
    {"Page Curl", "CIPageCurlTransition", "CIPageCurlTransitionIcon", 0, stringTag(50)},
    {"Ripple", "CIRippleTransition", "CIRippleTransitionIcon", 1, stringTag(50)},
    {"Dissolve", "CIDissolveTransition", "CIDissolveTransitionIcon", 0, stringTag(50)},
    {"Copy Machine", "CICopyMachineTransition", "CICopyMachineTransitionIcon", 0, stringTag(50)},
    {"Flash", "CIFlashTransition", "CIFlashTransitionIcon", 3, stringTag(50)},
    {"Swipe", "CISwipeTransition", "CIFlashTransitionIcon", 2, stringTag(50)},
};

constexpr CategoryRow kFilterCategories[] = {
    {"Crop", kCrop, false},
    {"Transform", kTransform, true},
    {"Color", kColor, true},
    {"Focus", kFocus, true},
    {"Distortion", kDistortion, true},
    {"Style", kStyle, true},
    {"Halftone", kHalftone, true},
    {"Tile", kTile, true},
    {"Lumine", kLumine, true},
    {"Overlap", kOverlap, true},
};

constexpr GeneratorRow kOtherGenerators[] = {
    {"Gathering", "GLIF_StarField", "GLIF_StarFieldIcon", 0, 0},
    {"Brushes", "GLIF_Dabs", "GLIF_BrushesIcon", 0, 0},
    {"Spinning Polygons", "GLIF_TwistPolygons", "GLIF_TwistedSquaresIcon", 1, 1},
};

constexpr GeneratorRow kScienceGenerators[] = {
    {"Atoms", "GLIF_Foam", "GLIF_TwistedSquaresIcon", 0, 0},
    {"Plasma", "GLIF_Plasma", "GLIF_Plasma", 1, 2},
    {"Biology", "GLIF_Biomorph", "GLIF_Biomorph", 1, 1},
    {"Circle Interference", "GLIF_CircleRipples", "GLIF_CircleRipples", 1, 3},
    {"Star Dust", "GLIF_Texture", "GLIF_TextureIcon", 0, 2},
};

constexpr GeneratorRow kLineGenerators[] = {
    {"Color Bars", "GLIF_ColourBars", "GLIF_ColourBarsIcon", 0, 4},
    {"Divide Lines", "GLIF_AbstractLines", "GLIF_TwistedSquaresIcon", 0, 4},
    {"Triangles", "GLIF_Triangles", "GLIF_TrianglesCurveIcon", 0, 4},
    {"Shapes", "GLIF_Shapes", "GLIF_ShapesIcon", 0, 0},
    {"Spinning Squares", "GLIF_TwistedSquares", "GLIF_TwistedSquaresIcon", 1, 1},
    {"Flying Lines", "GLIF_FlashLines", "GLIF_FlashLinesIcon", 1, 0},
};

constexpr GeneratorRow kGradientGenerators[] = {
    {"Spiral", "GLIF_Spiral", "GLIF_TwistedSquaresIcon", 1, 0},
    {"Radial Distortion", "GLIF_RadialPlasma", "GLIF_TwistedSquaresIcon", 1, 0},
    {"Sand-Glass", "GLIF_SandGlass", "GLIF_TwistedSquaresIcon", 1, 3},
};

constexpr GeneratorRow kLayingGenerators[] = {
    {"Bricks", "GLIF_Parquet", "GLIF_TwistedSquaresIcon", 0, 3},
    {"Hilbert Curve", "GLIF_HilbertCurve", "GLIF_HilbertCurveIcon", 0, 0},
    {"Rags", "GLIF_Cafel", "GLIF_CafelIcon", 0, 2},
};

constexpr GeneratorCategoryRow kGeneratorCategories[] = {
    {"Other", kOtherGenerators},         {"Science", kScienceGenerators},
    {"Lines & Fields", kLineGenerators}, {"Gradient", kGradientGenerators},
    {"Laying", kLayingGenerators},
};

}  // namespace

std::span<const CategoryRow> fixedFilterCategories() {
    return kFilterCategories;
}

std::span<const GeneratorCategoryRow> generatorCategories() {
    return kGeneratorCategories;
}

}  // namespace cif::catalog
