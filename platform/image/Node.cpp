#include "platform/image/Node.h"

#include <algorithm>
#include <cassert>
#include <cstring>

namespace cif::engine {

Rect Node::regionOfInterest(size_t, const Rect& output) const {
    return output;
}

RenderRequest Node::renderRequest(const IRect&) const {
    return {};
}

IRect Node::inputRegion(size_t index, const IRect& output) const {
    assert(index < m_inputs.size());
    const IRect want = coveringPixels(regionOfInterest(index, output.toRect()));
    const Rect& ext = m_inputs[index]->extent();
    if (ext.isInfinite()) return want;
    return want.intersected(coveringPixels(ext));
}

PointNode::PointNode(NodePtr input) : Node({input}, input->extent()) {}
PointNode::PointNode(NodePtr input, Rect extent) : Node({std::move(input)}, extent) {}

void PointNode::render(PixelBuffer& dst, const RenderState& state) const {
    renderNode(*this, dst, state);
}

BinaryPointNode::BinaryPointNode(NodePtr foreground, NodePtr background)
    : Node({foreground, background}, foreground->extent().united(background->extent())) {}
BinaryPointNode::BinaryPointNode(NodePtr foreground, NodePtr background, Rect extent)
    : Node({std::move(foreground), std::move(background)}, extent) {}

void BinaryPointNode::render(PixelBuffer& dst, const RenderState& state) const {
    const IRect area = dst.rect().intersected(coveringPixels(extent()));
    if (area.isEmpty()) {
        dst.fillTransparent();
        return;
    }
    renderNode(*inputs()[1], dst, state);
    PooledBuffer fg(dst.rect());
    renderNode(*inputs()[0], *fg, state);
    for (int y = area.y; y < area.top(); ++y)
        combineSpan(fg->at(area.x, y), dst.at(area.x, y), area.w);
    dst.clearOutside(area);
}

namespace {

// Applies a chain of point nodes (innermost first) over the area, row by row.
void applyChain(const std::vector<const PointNode*>& chain, PixelBuffer& dst, const IRect& area,
                const RenderState& state) {
    for (int y = area.y; y < area.top(); ++y) {
        float* px = dst.at(area.x, y);
        for (const PointNode* p : chain)
            p->applySpan(px, area.w, area.x, y, state);
    }
}

}  // namespace

bool graphReadsSinglePixels(const Node& node) {
    // Graphs are shallow but may share nodes; a visited set keeps the walk linear.
    std::vector<const Node*> stack{&node}, seen;
    while (!stack.empty()) {
        const Node* n = stack.back();
        stack.pop_back();
        if (std::find(seen.begin(), seen.end(), n) != seen.end()) continue;
        seen.push_back(n);
        if (!n->readsSinglePixels()) return false;
        for (const NodePtr& in : n->inputs())
            stack.push_back(in.get());
    }
    return true;
}

void renderUnheld(const Node& node, PixelBuffer& dst, const RenderState& state) {
    const IRect out = dst.rect();
    const int band = node.renderRequest(out).bandRows;
    if (band <= 0 || out.h <= band) {
        node.render(dst, state);
        state.rowsFinished(node, dst, out.y, out.top());
        return;
    }
    for (int y0 = out.y; y0 < out.top() && !state.cancelled();) {
        const int y1 = std::min(out.top(), floorDiv(y0, band) * band + band);
        PixelBuffer rows = PixelBuffer::view(dst.row(y0), IRect{out.x, y0, out.w, y1 - y0});
        node.render(rows, state);
        state.rowsFinished(node, dst, y0, y1);
        y0 = y1;
    }
}

namespace {

// Copies dst's pixels from the node's held blocks, made on first use;
// false (nothing done) where the node cannot be held in this render.
bool renderHeld(const Node& node, int side, PixelBuffer& dst, const RenderState& state) {
    const Rect& e = node.extent();
    if (!state.cache || e.isInfinite()) return false;
    const IRect have = coveringPixels(e);
    if (have.area() > kMaxHeldPixels) return false;
    const IRect want = dst.rect().intersected(have);
    for (int by = floorDiv(want.y, side); by <= floorDiv(want.top() - 1, side); ++by)
        for (int bx = floorDiv(want.x, side); bx <= floorDiv(want.right() - 1, side); ++bx) {
            const IRect block = IRect{bx * side, by * side, side, side}.intersected(have);
            const IRect part = block.intersected(want);
            if (part.isEmpty()) continue;
            const std::shared_ptr<const PixelBuffer> pixels =
                state.cache->materialise(node, block, state);
            if (state.cancelled()) return true;
            for (int y = part.y; y < part.top(); ++y)
                std::memcpy(dst.at(part.x, y), pixels->at(part.x, y),
                            size_t(part.w) * 4 * sizeof(float));
        }
    dst.clearOutside(want);
    return true;
}

}  // namespace

void renderNode(const Node& node, PixelBuffer& dst, const RenderState& state) {
    if (dst.rect().isEmpty()) return;
    if (dst.rect().intersected(coveringPixels(node.extent())).isEmpty()) {
        dst.fillTransparent();
        return;
    }
    if (!node.asPointNode()) {
        const int held = node.renderRequest(dst.rect()).heldBlock;
        if (held > 0 && renderHeld(node, held, dst, state)) return;
        renderUnheld(node, dst, state);
        return;
    }
    // Collect the chain of point nodes down to the first node of another kind.
    std::vector<const PointNode*> chain;
    const Node* base = &node;
    while (const PointNode* p = base->asPointNode()) {
        chain.push_back(p);
        base = p->input().get();
    }
    renderNode(*base, dst, state);
    const std::vector<const PointNode*> ordered(chain.rbegin(), chain.rend());
    const IRect outer = dst.rect().intersected(node.asPointNode()->pixelArea());
    bool sameArea = true;
    for (const PointNode* p : ordered)
        sameArea = sameArea && dst.rect().intersected(p->pixelArea()) == outer;
    if (sameArea) {
        // The common case: the whole chain runs over each row while it is hot.
        applyChain(ordered, dst, outer, state);
        dst.clearOutside(outer);
        return;
    }
    // Nodes with different areas (crops in the chain) run one after another,
    // each only inside its own area.
    for (const PointNode* p : ordered) {
        const IRect a = dst.rect().intersected(p->pixelArea());
        if (!a.isEmpty()) applyChain({p}, dst, a, state);
        dst.clearOutside(a);
    }
}

}  // namespace cif::engine
