#pragma once
// The recipe node of a kernel application, and the argument binding behind
// CIFilter::apply.

#include <QVariantList>
#include <QVariantMap>
#include <atomic>
#include <functional>
#include <optional>
#include <vector>

#include "platform/image/CIImage.h"
#include "platform/image/Node.h"
#include "platform/kernel/CIKernel.h"

namespace cif::kernel {

// Runs a kernel program over its output rectangle. Inputs are the images of
// the sampler arguments, in sampler-slot order. For each input the node
// renders the region its samples can reach (the output mapped into sampler
// space, grown by the slot's reach plus one pixel for the bilinear
// neighbour), or the whole input when the reach is unbounded; such whole
// inputs are materialised once per render and shared between tiles. A warp
// with unbounded reads goes by blocks instead: it computes a block's
// positions, renders just the input pixels they reach and samples those. A
// kernel that reads one pixel of its one input (a colour kernel) runs in
// place over that input rendered into the destination.
class KernelNode final : public engine::Node {
public:
    // One numeric argument: the uniform registers it fills and its values.
    // Colours are straight sRGB, converted into the render's working space.
    struct Value {
        std::vector<Reg> registers;
        double components[4] = {0, 0, 0, 0};
        bool isColor = false;
    };
    // One sampler argument: the map from working space to sampler space.
    struct Sampler {
        engine::Affine toSamplerSpace;
    };

    // The region of input slot `index` (sampler space) that the output
    // rectangle reads; given by whoever applies a kernel with a
    // region-of-interest callback.
    using RoiCallback = std::function<engine::Rect(size_t index, const engine::Rect& output)>;

    // `inputs` and `samplers` have one entry per Program::samplers slot.
    // Without `roi` the regions come from the compiler's and the interval
    // bounds of the sample positions.
    KernelNode(CIKernel kernel, std::vector<engine::NodePtr> inputs, std::vector<Sampler> samplers,
               std::vector<Value> values, const engine::Rect& extent, RoiCallback roi = {});

    engine::Rect regionOfInterest(size_t index, const engine::Rect& output) const override;
    void render(engine::PixelBuffer& dst, const engine::RenderState& state) const override;
    const char* kind() const override { return "kernel"; }
    // True when every sample is taken exactly at samplerCoord of a default
    // sampler, so each output pixel reads one pixel of each input.
    bool readsSinglePixels() const override { return m_singlePixels; }

private:
    // Reach of a slot beyond which it is treated as unbounded: a larger
    // margin would make every tile render most of a large input anyway.
    static constexpr double kMaxReach = 4096.0;
    // An input region larger than this many times the tile it serves is
    // rendered once for the whole render instead of for each tile.
    static constexpr int64_t kMaxRegionPerTile = 4;
    // How far around an unbounded input the pixels are rendered when the
    // sample positions are unknown; samples beyond read transparent.
    static constexpr double kUnboundedMargin = 1024.0;

    // The program with each coordinate of a sampler whose map is the
    // identity computed as the destination position itself (the same bits,
    // without the transform's arithmetic); nullopt when nothing changes.
    static std::optional<Program> withDirectCoordinates(const Program& program,
                                                        const std::vector<Sampler>& samplers);
    bool boundedReach(size_t slot) const;
    // Renders a warp whose reads are unbounded in blocks: each block's
    // positions first, then the input over just the pixels they reach.
    void renderWarp(engine::PixelBuffer& dst, const engine::IRect& area,
                    const engine::RenderState& state, EvalContext context) const;
    // The uniforms the program runs with: parameters (colours converted into
    // `space`; without one, colours are left out and their registers listed
    // in *unknown), sampler extents and transforms, the prepared constants.
    std::vector<Uniform> uniformValues(const engine::WorkingSpace* space,
                                       std::vector<Reg>* unknown) const;

    CIKernel m_kernel;
    // What this node runs: the kernel's prepared program, or m_ownPrepared
    // made for its samplers (see withDirectCoordinates).
    const PreparedProgram* m_prepared = nullptr;
    PreparedProgram m_ownPrepared;
    RoiCallback m_roi;
    std::vector<Sampler> m_samplers;
    std::vector<Value> m_values;
    bool m_singlePixels = false;
    // For a warp whose prepared program ends in the one sample of its input
    // (and has no loop budget): the program without that sample, returning
    // the position (x, y, x, y) with the same registers and uniforms.
    std::optional<Program> m_warpPositions;
    // The uniforms known before any render (all but colours, whose working
    // values depend on the render's space) and the colours' registers: what
    // bounding the sample positions on intervals starts from.
    std::vector<Uniform> m_knownUniforms;
    std::vector<Reg> m_colourRegisters;
    mutable std::atomic<bool> m_warnedLoopBudget{false};
};

// Binds arguments to the kernel's parameters in order and answers the image
// of the kernel applied (see CIFilter::apply): its extent is the definition
// option's image's, else the first image argument's, else infinite. A warp
// kernel reads the definition option's image. Logs one line and answers the
// null image on a wrong argument count or type.
CIImage applyKernel(const CIKernel& kernel, const QVariantList& arguments,
                    const QVariantMap& options);

// What the apply operations with an explicit extent add: the extent, the
// region-of-interest callback (index: the image argument, or 0 for a warp's
// input), and a warp's input image.
struct KernelApplication {
    std::optional<engine::Rect> extent;
    KernelNode::RoiCallback roi;
    std::optional<CIImage> warpInput;
};
CIImage applyKernel(const CIKernel& kernel, const QVariantList& arguments,
                    const KernelApplication& how);

}  // namespace cif::kernel
