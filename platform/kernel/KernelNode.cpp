#include "platform/kernel/KernelNode.h"

#include <QCoreApplication>
#include <QDebug>
#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <optional>

#include "platform/image/CIAttributes.h"
#include "platform/image/CIColor.h"
#include "platform/image/CIVector.h"
#include "platform/image/ColorSpace.h"
#include "platform/kernel/CISampler.h"
#include "platform/kernel/KernelBounds.h"
#include "platform/kernel/KernelEvaluator.h"

namespace cif::kernel {

using engine::IRect;
using engine::NodePtr;
using engine::PixelBuffer;
using engine::PooledBuffer;
using engine::Rect;
using engine::RenderState;

namespace {

// What a register holds, as far as the position of a default sampler goes:
// a sampler coordinate is (a*x + c*y) + tx and (b*x + d*y) + ty of the
// destination position, in the order the compiler emits them.
struct CoordinateTerm {
    enum Kind : uint8_t { None, X, Y, ProductX, ProductY, Linear, Coordinate } kind = None;
    int slot = -1;
    int axis = 0;  // 0: the x coordinate (a, c, tx), 1: the y one (b, d, ty)
};

}  // namespace

std::optional<Program> KernelNode::withDirectCoordinates(const Program& program,
                                                         const std::vector<Sampler>& samplers) {
    // Which uniform register is which transform entry of which slot.
    std::vector<std::pair<int, int>> entry(size_t(program.registerCount), {-1, -1});
    bool anyIdentity = false;
    for (size_t s = 0; s < program.samplers.size() && s < samplers.size(); ++s) {
        if (!samplers[s].toSamplerSpace.isIdentity()) continue;
        anyIdentity = true;
        for (int k = 0; k < 6; ++k)
            entry[program.samplers[s].transform[k]] = {int(s), k};
    }
    if (!anyIdentity) return std::nullopt;
    Program out = program;
    std::vector<CoordinateTerm> term(size_t(program.registerCount));
    bool changed = false;
    using Kind = CoordinateTerm::Kind;
    for (Instruction& in : out.code) {
        CoordinateTerm t;
        const CoordinateTerm& a = term[in.a];
        const CoordinateTerm& b = term[in.b];
        // A transform entry times x or y: entries a, b multiply x; c, d y.
        auto product = [&](Reg factor, const CoordinateTerm& other) {
            const auto [slot, k] = entry[factor];
            if (slot < 0 || k > 3) return false;
            if (other.kind == Kind::X && k < 2) {
                t = {Kind::ProductX, slot, k};
                return true;
            }
            if (other.kind == Kind::Y && k >= 2) {
                t = {Kind::ProductY, slot, k - 2};
                return true;
            }
            return false;
        };
        const bool plain = in.op != Op::Add || in.imm != kFusedProduct;
        switch (in.op) {
            case Op::DestX:
                t.kind = Kind::X;
                break;
            case Op::DestY:
                t.kind = Kind::Y;
                break;
            case Op::Mul:
                if (!product(in.a, b)) product(in.b, a);
                break;
            case Op::Add: {
                if (!plain) break;
                const bool pair = (a.kind == Kind::ProductX && b.kind == Kind::ProductY) ||
                                  (a.kind == Kind::ProductY && b.kind == Kind::ProductX);
                if (pair && a.slot == b.slot && a.axis == b.axis) {
                    t = {Kind::Linear, a.slot, a.axis};
                    break;
                }
                const auto [slotB, kB] = entry[in.b];
                const auto [slotA, kA] = entry[in.a];
                if (a.kind == Kind::Linear && slotB == a.slot && kB == 4 + a.axis)
                    t = {Kind::Coordinate, a.slot, a.axis};
                else if (b.kind == Kind::Linear && slotA == b.slot && kA == 4 + b.axis)
                    t = {Kind::Coordinate, b.slot, b.axis};
                break;
            }
            default:
                break;
        }
        // A write to the transform's registers (never emitted) ends the
        // attempt; a sample writes four registers.
        const int written = in.op == Op::Sample ? 4 : 1;
        for (int k = 0; k < written; ++k) {
            const size_t r = size_t(in.dst) + size_t(k);
            if (r >= term.size() || entry[r].first >= 0) return std::nullopt;
            term[r] = {};
        }
        term[in.dst] = t;
        // Under the identity, (1*x + 0*y) + 0 is x itself: x and y are pixel
        // centres (finite, never zero), so the products and sums are exact.
        if (t.kind == Kind::Coordinate) {
            in = Instruction{t.axis == 0 ? Op::DestX : Op::DestY, in.dst, 0, 0, 0, 0.0f, 0};
            changed = true;
        }
    }
    if (!changed) return std::nullopt;
    return out;
}

KernelNode::KernelNode(CIKernel kernel, std::vector<NodePtr> inputs, std::vector<Sampler> samplers,
                       std::vector<Value> values, const Rect& extent, RoiCallback roi)
    : Node(std::move(inputs), extent),
      m_kernel(std::move(kernel)),
      m_roi(std::move(roi)),
      m_samplers(std::move(samplers)),
      m_values(std::move(values)) {
    m_prepared = &m_kernel.prepared();
    if (std::optional<Program> direct = withDirectCoordinates(m_kernel.program(), m_samplers)) {
        m_ownPrepared = prepareProgram(*direct);
        if (validateProgram(m_ownPrepared.program, nullptr)) m_prepared = &m_ownPrepared;
    }
    const Program& p = m_prepared->program;
    m_singlePixels = true;
    for (size_t i = 0; i < p.samplers.size(); ++i)
        m_singlePixels = m_singlePixels && p.samplers[i].reach == 0.0 &&
                         m_samplers[i].toSamplerSpace.isIdentity();
    m_knownUniforms = uniformValues(nullptr, &m_colourRegisters);
    if (p.kind == KernelKind::Warp && !p.loopBudget && p.samplers.size() == 1 && !p.code.empty()) {
        const Instruction& last = p.code.back();
        bool sampled = last.op == Op::Sample && last.sampler == 0;
        for (int k = 0; k < 4 && sampled; ++k)
            sampled = p.result[k] == last.dst + k;
        if (sampled) {
            Program positions = p;
            positions.code.pop_back();
            positions.result[0] = positions.result[2] = last.a;
            positions.result[1] = positions.result[3] = last.b;
            if (validateProgram(positions, nullptr)) m_warpPositions = std::move(positions);
        }
    }
}

bool KernelNode::boundedReach(size_t slot) const {
    const double reach = m_prepared->program.samplers[slot].reach;
    return reach >= 0.0 && reach <= kMaxReach;
}

std::vector<Uniform> KernelNode::uniformValues(const engine::WorkingSpace* space,
                                               std::vector<Reg>* unknown) const {
    const PreparedProgram& prepared = *m_prepared;
    const Program& program = prepared.program;
    std::vector<Uniform> uniforms = prepared.constants;
    // The values are the numeric parameters' in order; their registers are
    // those of the program this node runs.
    size_t next = 0;
    for (const Parameter& param : program.parameters) {
        if (isImageParam(param.type) || next >= m_values.size()) continue;
        const Value& v = m_values[next++];
        float comps[4] = {float(v.components[0]), float(v.components[1]), float(v.components[2]),
                          float(v.components[3])};
        if (v.isColor) {
            if (!space) {
                unknown->insert(unknown->end(), param.registers.begin(), param.registers.end());
                continue;
            }
            engine::colorToWorking(v.components, comps, *space);
        }
        for (size_t k = 0; k < param.registers.size() && k < 4; ++k)
            uniforms.push_back({param.registers[k], comps[k]});
    }
    for (size_t i = 0; i < program.samplers.size(); ++i) {
        const SamplerSlot& slot = program.samplers[i];
        const Rect& ext = inputs()[i]->extent();
        const float extentValues[4] = {float(ext.x), float(ext.y), float(ext.w), float(ext.h)};
        for (int k = 0; k < 4; ++k)
            uniforms.push_back({slot.extent[k], extentValues[k]});
        const engine::Affine& t = m_samplers[i].toSamplerSpace;
        const float transform[6] = {float(t.a), float(t.b),  float(t.c),
                                    float(t.d), float(t.tx), float(t.ty)};
        for (int k = 0; k < 6; ++k)
            uniforms.push_back({slot.transform[k], transform[k]});
    }
    return uniforms;
}

Rect KernelNode::regionOfInterest(size_t index, const Rect& output) const {
    // The caller's region, and the bilinear neighbour around it.
    if (m_roi) return m_roi(index, output).inset(-1.0, -1.0);
    const engine::Affine& t = m_samplers[index].toSamplerSpace;
    const Rect mapped = t.isIdentity() ? output : t.mapRect(output);
    if (boundedReach(index)) {
        // Samples lie within `reach` of samplerCoord; the bilinear filter
        // reads one more pixel. A reach of zero on a default sampler samples
        // pixel centres exactly, which reads those pixels alone.
        const double reach = m_prepared->program.samplers[index].reach;
        const double margin = (reach == 0.0 && t.isIdentity()) ? 0.0 : std::ceil(reach) + 1.0;
        return mapped.inset(-margin, -margin);
    }
    // Positions the compiler could not bound may still be bounded for these
    // arguments and this output (bounds include the bilinear neighbour).
    if (!output.isUnbounded()) {
        const PreparedProgram& prepared = *m_prepared;
        const Rect bound = sampleBounds(prepared.program, prepared.fusedProducts, m_knownUniforms,
                                        m_colourRegisters, output)[index];
        if (bound.isEmpty() || !bound.isUnbounded()) return bound;
    }
    const Rect& ext = inputs()[index]->extent();
    if (!ext.isUnbounded()) return ext;
    // An unbounded input read anywhere cannot be rendered whole: take a wide
    // margin around the output. Samples farther away than the margin read
    // transparent, so only such kernels can see tile-dependent results.
    return mapped.inset(-kUnboundedMargin, -kUnboundedMargin);
}

void KernelNode::render(PixelBuffer& dst, const RenderState& state) const {
    const IRect area = dst.rect().intersected(coveringPixels(extent()));
    if (area.isEmpty()) {
        dst.fillTransparent();
        return;
    }
    const PreparedProgram& prepared = *m_prepared;
    const Program& program = prepared.program;
    EvalContext context;
    context.uniforms = uniformValues(&state.space, nullptr);
    context.uniformsReadOnly = prepared.uniformsReadOnly;
    context.sampleChannelMasks = prepared.sampleChannelMasks;
    context.fusedProducts = prepared.fusedProducts;
    if (m_warpPositions && !m_roi && !boundedReach(0)) {
        renderWarp(dst, area, state, std::move(context));
        return;
    }
    // Pixels of each input: the region the samples reach, rendered for this
    // call, or, where that region is the whole input (samples anywhere) or
    // much larger than the tile, the whole input shared by every tile of
    // the render.
    std::vector<std::unique_ptr<PooledBuffer>> rendered;
    std::vector<std::shared_ptr<const PixelBuffer>> shared;
    // One input read a pixel at a time (a colour kernel's __sample) is
    // rendered straight into dst and the program runs over it in place: a
    // chunk of a row reads only its own pixels before writing them.
    const bool inPlace = m_singlePixels && !m_roi && program.samplers.size() == 1;
    if (inPlace) {
        engine::renderNode(*inputs()[0], dst, state);
        context.images.push_back(&dst);
    }
    for (size_t i = inPlace ? 1 : 0; i < program.samplers.size(); ++i) {
        const Rect& ext = inputs()[i]->extent();
        const IRect region = inputRegion(i, area);
        const IRect whole = ext.isUnbounded() ? IRect{} : coveringPixels(ext);
        if (!boundedReach(i) && state.cache && !ext.isUnbounded() &&
            (region == whole || region.area() > kMaxRegionPerTile * area.area())) {
            shared.push_back(state.cache->materialise(*inputs()[i], whole, state));
            context.images.push_back(shared.back().get());
            continue;
        }
        if (region.isEmpty()) {
            context.images.push_back(nullptr);
            continue;
        }
        rendered.push_back(std::make_unique<PooledBuffer>(region));
        PixelBuffer& buffer = **rendered.back();
        engine::renderNode(*inputs()[i], buffer, state);
        context.images.push_back(&buffer);
    }
    if (state.cancelled()) return;
    bool stopped = false;
    for (int y = area.y; y < area.top(); ++y) {
        float* row = dst.at(area.x, y);
        runProgram(program, context, area.x, y, area.w, row);
        if (!program.loopBudget) continue;
        // Pixels whose loop ran out of its budget: alpha -0, made +0.
        for (int i = 0; i < area.w; ++i) {
            float& alpha = row[size_t(i) * 4 + 3];
            if (alpha == 0.0f && std::signbit(alpha)) {
                alpha = 0.0f;
                stopped = true;
            }
        }
    }
    if (stopped && !m_warnedLoopBudget.exchange(true))
        qWarning().noquote() << QCoreApplication::translate(
                                    "CIKernel",
                                    "kernel %1: a loop ran past its budget of %2 iterations; "
                                    "those pixels are transparent")
                                    .arg(m_kernel.name())
                                    .arg(kMaxDynamicLoopIterations);
    dst.clearOutside(area);
}

void KernelNode::renderWarp(PixelBuffer& dst, const IRect& area, const RenderState& state,
                            EvalContext context) const {
    const engine::Node& input = *inputs()[0];
    const Rect& ext = input.extent();
    // The pixels any sample can read: beyond them every tap is transparent.
    const IRect readable = ext.isUnbounded() ? IRect{} : coveringPixels(ext);
    // What the tile reads when a block's positions spread too far: the
    // whole input shared by the render, else the tile's region of interest.
    std::shared_ptr<const PixelBuffer> whole;
    std::optional<PooledBuffer> tileRegion;
    auto wideImage = [&]() -> const PixelBuffer* {
        if (whole) return whole.get();
        if (tileRegion) return &**tileRegion;
        if (state.cache && !ext.isUnbounded()) {
            whole = state.cache->materialise(input, readable, state);
            return whole.get();
        }
        tileRegion.emplace(inputRegion(0, area));
        engine::renderNode(input, **tileRegion, state);
        return &**tileRegion;
    };
    context.images.assign(1, nullptr);
    constexpr int kBlock = 64;
    for (int by = area.y; by < area.top(); by += kBlock) {
        // The positions of a band of whole rows (full spans for the
        // evaluator), written into the destination rows.
        const int bandHeight = std::min(kBlock, area.top() - by);
        for (int y = by; y < by + bandHeight; ++y)
            runProgram(*m_warpPositions, context, area.x, y, area.w, dst.at(area.x, y));
        for (int bx = area.x; bx < area.right(); bx += kBlock) {
            if (state.cancelled()) return;
            const IRect block{bx, by, std::min(kBlock, area.right() - bx), bandHeight};
            // The bounds of the block's positions.
            double x0 = std::numeric_limits<double>::infinity(), y0 = x0, x1 = -x0, y1 = -x0;
            for (int y = block.y; y < block.top(); ++y) {
                const float* row = dst.at(block.x, y);
                for (int i = 0; i < block.w; ++i) {
                    const double px = row[size_t(i) * 4], py = row[size_t(i) * 4 + 1];
                    // NaN fails every comparison and reads transparent.
                    if (px < x0) x0 = px;
                    if (px > x1) x1 = px;
                    if (py < y0) y0 = py;
                    if (py > y1) y1 = py;
                }
            }
            // Bilinear taps are floor(p - 0.5) and the next pixel.
            IRect reach;
            constexpr double kFar = double(engine::kPixelLimit);
            if (x0 <= x1 && y0 <= y1) {
                const double lx = std::clamp(std::floor(x0 - 0.5), -kFar, kFar);
                const double ly = std::clamp(std::floor(y0 - 0.5), -kFar, kFar);
                const double hx = std::clamp(std::floor(x1 - 0.5) + 1.0, -kFar, kFar);
                const double hy = std::clamp(std::floor(y1 - 0.5) + 1.0, -kFar, kFar);
                reach = IRect{int(lx), int(ly), int(hx - lx) + 1, int(hy - ly) + 1};
                if (!ext.isUnbounded()) reach = reach.intersected(readable);
            }
            const PixelBuffer* image = nullptr;
            std::optional<PooledBuffer> own;
            if (!reach.isEmpty()) {
                if (reach.area() <= kMaxRegionPerTile * block.area() + 4096) {
                    own.emplace(reach);
                    engine::renderNode(input, **own, state);
                    image = &**own;
                } else {
                    image = wideImage();
                }
            }
            for (int y = block.y; y < block.top(); ++y) {
                float* row = dst.at(block.x, y);
                samplePoints(image, row, block.w, row);
            }
        }
    }
    dst.clearOutside(area);
}

namespace {

bool isNumber(const QVariant& v) {
    switch (v.typeId()) {
        case QMetaType::Int:
        case QMetaType::UInt:
        case QMetaType::LongLong:
        case QMetaType::ULongLong:
        case QMetaType::Double:
        case QMetaType::Float:
        case QMetaType::Bool:
            return true;
        default:
            return false;
    }
}

const char* typeName(ParamType type) {
    switch (type) {
        case ParamType::Float:
            return "float";
        case ParamType::Vec2:
            return "vec2";
        case ParamType::Vec3:
            return "vec3";
        case ParamType::Vec4:
            return "vec4";
        case ParamType::Color:
            return "__color";
        case ParamType::Sampler:
            return "sampler";
        case ParamType::Sample:
            return "__sample";
    }
    return "?";
}

// The image of a sampler argument: a CISampler, or a CIImage read by a
// default sampler.
bool samplerArgument(const QVariant& v, CISampler& out) {
    if (v.metaType() == QMetaType::fromType<CISampler>())
        out = v.value<CISampler>();
    else if (v.metaType() == QMetaType::fromType<CIImage>())
        out = CISampler::samplerWithImage(v.value<CIImage>());
    else
        return false;
    return !out.isNull();
}

}  // namespace

CIImage applyKernel(const CIKernel& kernel, const QVariantList& arguments,
                    const QVariantMap& options) {
    KernelApplication how;
    const QVariant definition = options.value(kCIApplyOptionDefinition);
    if (definition.isValid()) {
        CISampler s;
        if (!samplerArgument(definition, s)) {
            qWarning().noquote() << QCoreApplication::translate(
                "CIKernel", "apply: the definition option must be a CISampler or a CIImage");
            return {};
        }
        how.extent = s.definition().node()->extent();
        if (!kernel.isNull() && kernel.program().kind == KernelKind::Warp)
            how.warpInput = s.definition();
    }
    return applyKernel(kernel, arguments, how);
}

CIImage applyKernel(const CIKernel& kernel, const QVariantList& arguments,
                    const KernelApplication& how) {
    auto fail = [](const QString& why) {
        qWarning().noquote() << why;
        return CIImage();
    };
    if (kernel.isNull())
        return fail(QCoreApplication::translate("CIKernel", "apply: the kernel is null"));
    const Program& program = kernel.runnableProgram();
    if (size_t(arguments.size()) != program.parameters.size())
        return fail(
            QCoreApplication::translate("CIKernel", "apply: kernel %1 takes %2 arguments, %3 given")
                .arg(kernel.name())
                .arg(program.parameters.size())
                .arg(arguments.size()));

    std::vector<NodePtr> inputs(program.samplers.size());
    std::vector<KernelNode::Sampler> samplers(program.samplers.size());
    std::vector<KernelNode::Value> values;
    Rect firstSamplerExtent = Rect::infinite();
    bool haveSampler = false;
    for (size_t i = 0; i < program.parameters.size(); ++i) {
        const Parameter& param = program.parameters[i];
        const QVariant& arg = arguments[qsizetype(i)];
        auto wrongType = [&] {
            return fail(QCoreApplication::translate(
                            "CIKernel", "apply: argument %1 (%2) of kernel %3 must be a %4")
                            .arg(i + 1)
                            .arg(QString::fromStdString(param.name), kernel.name(),
                                 QString::fromLatin1(typeName(param.type))));
        };
        KernelNode::Value value;
        value.registers = param.registers;
        switch (param.type) {
            case ParamType::Float:
                if (!isNumber(arg)) return wrongType();
                value.components[0] = arg.toDouble();
                break;
            case ParamType::Vec2:
            case ParamType::Vec3:
            case ParamType::Vec4: {
                if (arg.metaType() != QMetaType::fromType<CIVector>()) return wrongType();
                const CIVector v = arg.value<CIVector>();
                for (size_t k = 0; k < 4; ++k)
                    value.components[k] = v.valueAtIndex(k);
                break;
            }
            case ParamType::Color: {
                if (arg.metaType() != QMetaType::fromType<CIColor>()) return wrongType();
                arg.value<CIColor>().components(value.components);
                value.isColor = true;
                break;
            }
            case ParamType::Sampler:
            case ParamType::Sample: {
                CISampler s;
                if (!samplerArgument(arg, s) || param.sampler < 0 ||
                    size_t(param.sampler) >= inputs.size())
                    return wrongType();
                inputs[size_t(param.sampler)] = s.definition().node();
                samplers[size_t(param.sampler)].toSamplerSpace = s.affine();
                if (!haveSampler) firstSamplerExtent = s.definition().node()->extent();
                haveSampler = true;
                continue;
            }
        }
        values.push_back(std::move(value));
    }
    KernelNode::RoiCallback roi = how.roi;
    if (program.kind == KernelKind::Warp) {
        // The warp's input is the last slot; its callback speaks of index 0.
        if (!how.warpInput || how.warpInput->isNull())
            return fail(QCoreApplication::translate("CIKernel",
                                                    "apply: warp kernel %1 needs an input image")
                            .arg(kernel.name()));
        inputs.back() = how.warpInput->node();
        if (!haveSampler) firstSamplerExtent = inputs.back()->extent();
        if (roi) {
            const size_t last = inputs.size() - 1;
            roi = [callback = how.roi, last](size_t index, const Rect& output) {
                return index == last ? callback(0, output) : output;
            };
        }
    }
    for (const NodePtr& input : inputs)
        if (!input)
            return fail(QCoreApplication::translate(
                            "CIKernel", "apply: kernel %1 has a sampler without a parameter")
                            .arg(kernel.name()));

    const Rect extent = how.extent ? *how.extent : firstSamplerExtent;
    return CIImage::imageWithNode(std::make_shared<KernelNode>(
        kernel, std::move(inputs), std::move(samplers), std::move(values), extent, std::move(roi)));
}

}  // namespace cif::kernel
