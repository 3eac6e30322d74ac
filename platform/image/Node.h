#pragma once
// The recipe graph behind CIImage. A node knows its extent, its inputs, the
// region it needs from each input for a requested output rectangle, and how to
// fill a pixel buffer. Nodes are immutable and shared between images.
//
// Filters and kernels add behaviour by subclassing: PointNode for per-pixel
// operations on one input (fused row by row with their neighbours in a
// chain), BinaryPointNode for per-pixel operations on two inputs, and Node
// itself for anything that reads a neighbourhood or resamples.

#include <atomic>
#include <cstddef>
#include <map>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include "platform/image/ColorSpace.h"
#include "platform/image/Geometry.h"
#include "platform/image/PixelBuffer.h"

namespace cif::engine {

class Node;
using NodePtr = std::shared_ptr<const Node>;
class RenderCache;

// Takes rows of the renderer's own buffer as soon as they are final, so they
// are written out while still in cache rather than after the whole tile.
class RowSink {
public:
    virtual ~RowSink() = default;
    // Rows y0 <= y < y1 of buffer, every pixel final.
    virtual void rowsFinished(const PixelBuffer& buffer, int y0, int y1) const = 0;
    // Only the render's top node, filling the buffer it was handed by the
    // renderer, may hand rows over: nodes below it (a point chain's base,
    // a translated input) render into the same buffer values that are not
    // yet final.
    const Node* root = nullptr;
    const PixelBuffer* target = nullptr;
};

// What every node sees while rendering: the working space and the
// cancellation flag of the render in progress.
struct RenderState {
    WorkingSpace space = WorkingSpace::LinearSRGB;
    const std::atomic<bool>* cancel = nullptr;
    const std::atomic<bool>* externalCancel = nullptr;
    // Pixels shared by all tiles of the render in progress; null when the
    // node is rendered outside the tiled renderer.
    RenderCache* cache = nullptr;
    // Where finished rows may go early; null when nobody takes them.
    const RowSink* sink = nullptr;
    bool cancelled() const {
        return (cancel && cancel->load(std::memory_order_relaxed)) ||
               (externalCancel && externalCancel->load(std::memory_order_relaxed));
    }
    // Hands rows y0 <= y < y1 of dst over when node is the render's top node
    // filling the renderer's buffer; does nothing otherwise. Each row at most
    // once; rows never handed over are written when the node returns.
    void rowsFinished(const Node& node, const PixelBuffer& dst, int y0, int y1) const {
        if (sink && sink->root == &node && sink->target == &dst && y0 < y1)
            sink->rowsFinished(dst, y0, y1);
    }
};

class PointNode;
class BinaryPointNode;

// How a node asks the renderer to hand it work. Nodes never split their
// output, hold pixels across tiles or hand rows over themselves: they state
// a request and the renderer (renderNode) does it, the same way for every
// tile, so the pixels never depend on it.
struct RenderRequest {
    // Rows per call: the output is rendered in bands of at most this many
    // rows, starting at multiples of it in picture coordinates, and the
    // render's top node has each band written out as soon as it is made
    // (while it is still in cache). 0: the whole output in one call.
    int bandRows = 0;
    // Side of the square blocks, on a grid of multiples of it in picture
    // coordinates, in which the node's pixels are made once per render and
    // shared by every tile that needs them (the node's extent must be
    // finite). Holding is skipped outside the tiled renderer and past
    // kMaxHeldPixels. 0: never held.
    int heldBlock = 0;
};

// The most pixels of one node held in blocks during a render (128 MiB).
inline constexpr int64_t kMaxHeldPixels = int64_t(8) << 20;

class Node {
public:
    virtual ~Node() = default;
    Node(const Node&) = delete;
    Node& operator=(const Node&) = delete;

    // Extent in engine coordinates; may be Rect::infinite(), or empty.
    const Rect& extent() const { return m_extent; }
    const std::vector<NodePtr>& inputs() const { return m_inputs; }

    // Rectangle of input `index` needed to produce `output`. The default is
    // the output rectangle itself (per-pixel nodes).
    virtual Rect regionOfInterest(size_t index, const Rect& output) const;

    // Fills every pixel of dst (its rect, any position) with this node's
    // values: transparent outside the extent. Implementations render their
    // inputs with renderNode() into pooled buffers.
    virtual void render(PixelBuffer& dst, const RenderState& state) const = 0;

    // Short name for diagnostics and graph dumps.
    virtual const char* kind() const = 0;

    // How this node wants its output rectangle `output` handed to render();
    // by default in one call, not held.
    virtual RenderRequest renderRequest(const IRect& output) const;

    virtual const PointNode* asPointNode() const { return nullptr; }

    // True when each output pixel reads at most one pixel of each input (at
    // the same or a fixed-offset position), so any split of the output costs
    // no extra input work.
    virtual bool readsSinglePixels() const { return false; }

protected:
    Node(std::vector<NodePtr> inputs, Rect extent)
        : m_inputs(std::move(inputs)), m_extent(extent) {}

    // Renders input `index` over the pixels covering its region of interest
    // for dst, limited to the pixels the input has.
    IRect inputRegion(size_t index, const IRect& output) const;

private:
    std::vector<NodePtr> m_inputs;
    Rect m_extent;
};

// A per-pixel operation on one input: output pixel (x, y) depends only on
// input pixel (x, y). The extent is the input's unless a subclass says
// otherwise; pixels outside the extent stay transparent.
class PointNode : public Node {
public:
    // Transforms n premultiplied working-space pixels in place; (x, y) is the
    // first pixel's position (pixel centres are at +0.5).
    virtual void applySpan(float* rgba, int n, int x, int y, const RenderState& state) const = 0;

    // Pixels this node produces; transparent elsewhere. By default every
    // pixel the extent touches.
    virtual IRect pixelArea() const { return coveringPixels(extent()); }

    void render(PixelBuffer& dst, const RenderState& state) const final;
    const PointNode* asPointNode() const final { return this; }
    bool readsSinglePixels() const final { return true; }
    const NodePtr& input() const { return inputs().front(); }

protected:
    explicit PointNode(NodePtr input);
    PointNode(NodePtr input, Rect extent);
};

// A per-pixel operation on two inputs (foreground, background): compositing
// operators and blend modes. The extent defaults to the union of both.
class BinaryPointNode : public Node {
public:
    // Combines n foreground pixels into n background pixels in place.
    virtual void combineSpan(const float* foreground, float* background, int n) const = 0;
    void render(PixelBuffer& dst, const RenderState& state) const final;
    bool readsSinglePixels() const final { return true; }

protected:
    BinaryPointNode(NodePtr foreground, NodePtr background);
    BinaryPointNode(NodePtr foreground, NodePtr background, Rect extent);
};

// Inputs materialised once per render and shared by its tiles, for nodes
// that may read anywhere in an input (a kernel whose samples have no bounded
// reach): rendering such an input per tile would redo the whole input for
// every tile. The renderer owns one cache per render and frees it, with all
// its pixels, when the render ends. Thread-safe: the first caller for a key
// renders while later callers for the same key wait for it.
class RenderCache {
public:
    // The pixels of node over rect, rendered on first use.
    std::shared_ptr<const PixelBuffer> materialise(const Node& node, const IRect& rect,
                                                   const RenderState& state);

private:
    struct Entry {
        std::once_flag once;
        std::shared_ptr<PixelBuffer> pixels;
    };
    using Key = std::pair<const Node*, std::pair<std::pair<int, int>, std::pair<int, int>>>;
    std::mutex m_mutex;
    std::map<Key, std::shared_ptr<Entry>> m_entries;
};

// True when every node of the graph reads single pixels.
bool graphReadsSinglePixels(const Node& node);

// Renders `node` into every pixel of dst. Chains of point nodes are evaluated
// row by row over one buffer, so no intermediate image is materialised.
// Other nodes get their output as their renderRequest() asks.
void renderNode(const Node& node, PixelBuffer& dst, const RenderState& state);

// Renders a node that is not a point node into dst in the bands it asks for,
// never from held blocks: how the held blocks themselves are made.
void renderUnheld(const Node& node, PixelBuffer& dst, const RenderState& state);

}  // namespace cif::engine
