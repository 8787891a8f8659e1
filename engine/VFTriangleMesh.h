#pragma once

#include "engine/EngineAssert.h"
#include "engine/IMesh.h"
#include "engine/MemoryPool.h"
#include "engine/RefCountedVector.h"

#include <iterator>
#include <memory>
#include <set>
#include <unordered_map>
#include <vector>

namespace vsk
{

// The editable indexed triangle mesh: vertices, triangles and edges addressed by stable unsigned
// IDs, with vertex-edge-triangle adjacency kept up to date on every insertion and removal.
//
// IDs are never reused: a removed element leaves a hole, so per-element arrays are sized by the
// GetMax...ID() values and skip IDs for which Is...() is false. Every ID-taking call survives
// InvalidID, holes and IDs past the end: the Is... queries and FindEdge answer false/InvalidID
// silently; the other accessors report through the assertion handler (EngineAssert.h) and return
// without touching storage, filling their outputs with InvalidID or zeros.
//
// Edges with more than two triangles are allowed; they are kept in an ordered non-manifold set.
// No locks: concurrent readers are fine, a mutation needs exclusive access.
class VFTriangleMesh : public IMesh
{
public:
    // Adjacency storage. A list keeps its first kInline entries in place and the rest in a chain
    // of overflow chunks; entries keep their insertion order through removals.
    static constexpr unsigned kInline = 7;
    struct OverflowChunk
    {
        static constexpr unsigned kSize = 15;
        unsigned nValues[kSize] = {};
        unsigned nNext = InvalidID;
    };
    struct IndexList
    {
        unsigned nCount = 0;
        unsigned nInline[kInline] = {};
        unsigned nOverflow = InvalidID;  // first overflow chunk, InvalidID when none
    };
    // Incident triangles and edges of one vertex, in insertion order.
    struct VertexData
    {
        IndexList triangles;
        IndexList edges;
    };

    struct Vertex
    {
        Vector3f vPosition;
        Vector3f vNormal;
        Vector3f vColor;
        unsigned nData = InvalidID;  // VertexData record in the pool; InvalidID without adjacency
        unsigned nFlags = 0;
    };
    struct Triangle
    {
        unsigned nVertices[3] = {InvalidID, InvalidID, InvalidID};  // winding order
        unsigned nFlags = 0;
        unsigned nGroupID = 0;
        unsigned nReserved = 0;
    };
    // Incident triangles: two in place (InvalidID when unused), the rest in an overflow list
    // that exists only for non-manifold edges.
    struct Edge
    {
        unsigned nVertices[2] = {InvalidID, InvalidID};
        unsigned nTriangles[2] = {InvalidID, InvalidID};
    };

    // All triangles of one edge, safe on non-manifold edges. A view into the mesh: valid until
    // the mesh changes. Indices past the end read InvalidID, and so does every index of the empty
    // view that an invalid edge ID gives.
    class EdgeTriangles
    {
    public:
        EdgeTriangles() : inline_(kNone) {}
        EdgeTriangles(const unsigned* inlineTriangles, const std::vector<unsigned>* overflow)
            : inline_(inlineTriangles), overflow_(overflow)
        {
        }
        size_t size() const
        {
            if (inline_[0] == InvalidID)
                return 0;
            if (inline_[1] == InvalidID)
                return 1;
            return 2 + (overflow_ ? overflow_->size() : 0);
        }
        bool empty() const { return size() == 0; }
        unsigned operator[](size_t i) const
        {
            if (i < 2)
                return inline_[i];
            return overflow_ && i - 2 < overflow_->size() ? (*overflow_)[i - 2] : InvalidID;
        }

    private:
        static constexpr unsigned kNone[2] = {InvalidID, InvalidID};
        const unsigned* inline_;
        const std::vector<unsigned>* overflow_ = nullptr;
    };

    // Iterator over the triangles, edges or one-ring neighbours of a vertex: construct it with
    // the vertex ID, start it with BeginVtxTriangles or BeginVtxEdges, then call the matching
    // GetNext... until it gives InvalidID. A vertex without adjacency gives InvalidID at once.
    // Invalidated by any change of the mesh.
    struct VtxNbrItr
    {
        explicit VtxNbrItr(unsigned vertexID = InvalidID) : vID(vertexID) {}

        unsigned vID;
        const IndexList* pList = nullptr;
        const MemoryPool<OverflowChunk>* pOverflow = nullptr;
        unsigned nPosition = 0;       // entries yielded so far
        unsigned nChunk = InvalidID;  // current overflow chunk once past the inline entries
    };

    // Forward iterator over live IDs of one element kind; skips holes.
    template <class T>
    class IDIterator
    {
    public:
        using iterator_category = std::forward_iterator_tag;
        using value_type = unsigned;
        using difference_type = std::ptrdiff_t;
        using pointer = const unsigned*;
        using reference = unsigned;

        IDIterator(const RefCountedVector<T>* slots, unsigned id) : slots_(slots), id_(id) { skip(); }
        unsigned operator*() const { return id_; }
        IDIterator& operator++()
        {
            ++id_;
            skip();
            return *this;
        }
        IDIterator operator++(int)
        {
            IDIterator old = *this;
            ++*this;
            return old;
        }
        bool operator==(const IDIterator& o) const { return id_ == o.id_; }
        bool operator!=(const IDIterator& o) const { return id_ != o.id_; }

    private:
        void skip()
        {
            const unsigned maxID = slots_->maxIndex();
            while (id_ < maxID && !slots_->isValid(id_))
                ++id_;
        }
        const RefCountedVector<T>* slots_;
        unsigned id_;
    };
    using vertex_iterator = IDIterator<Vertex>;
    using triangle_iterator = IDIterator<Triangle>;
    using edge_iterator = IDIterator<Edge>;
    template <class It>
    struct IDRange
    {
        It first, last;
        It begin() const { return first; }
        It end() const { return last; }
    };

    // Outcome of an edge collapse.
    struct EdgeCollapseInfo
    {
        unsigned vKept = InvalidID;
        unsigned vRemoved = InvalidID;
        unsigned eCollapsed = InvalidID;
        Index2i tRemoved{InvalidID, InvalidID};  // the (up to two) triangles that disappeared
    };

    // One border loop of a triangle set (see GetBoundaryLoops).
    struct BoundaryLoop
    {
        std::vector<unsigned> vVertices;  // walking order; the first vertex is not repeated
        // True unless some vertex of the loop carries VertexFlagBoundaryPinch.
        bool bIsSimple = true;
        // False when the border chain ended without returning to its start.
        bool bIsClosed = true;
    };

    // Vertex flag index 8 (bit 0x100): the vertex is a pinch point of a border, where the border
    // passes more than once (more than two border edges meet). GetBoundaryLoops treats every
    // pinch point of the set's border as carrying it, without writing the flag word; callers may
    // also set it themselves to have the loops through a vertex treated as pinched.
    static constexpr unsigned VertexFlagBoundaryPinch = 8;

    VFTriangleMesh();
    VFTriangleMesh(const VFTriangleMesh& other);
    VFTriangleMesh& operator=(const VFTriangleMesh& other);
    ~VFTriangleMesh() override;

    // A deep copy of the same dynamic type; the caller owns it.
    virtual std::unique_ptr<VFTriangleMesh> Clone() const;

    // Removes every element; maximum IDs drop to 0.
    void Clear();

    // ---- Vertices ----

    // Appends a vertex (normal and colour default to zero) and returns its ID.
    unsigned AppendVertex(const Vector3f& position, const Vector3f* normal = nullptr,
                          const Vector3f* color = nullptr);
    // Removes a vertex that no triangle uses; false (nothing changes) for an invalid or used one.
    bool RemoveVertex(unsigned vID);

    void GetVertex(unsigned vID, Vector3d& v, Vector3d* pNormal = nullptr) const override;
    void GetVertex(unsigned vID, Vector3f& v, Vector3f* pNormal = nullptr) const override;
    void SetVertex(unsigned vID, const Vector3f& v);
    unsigned GetVertexCount() const override { return m_vVertices.count(); }
    unsigned GetMaxVertexID() const override { return m_vVertices.maxIndex(); }
    bool IsVertex(unsigned vID) const override { return m_vVertices.isValid(vID); }
    void GetNormal(unsigned vID, Vector3f& n) const override;
    void SetNormal(unsigned vID, const Vector3f& n);
    void GetColor(unsigned vID, Vector3f& c) const;
    void SetColor(unsigned vID, const Vector3f& c);

    // The vertex's reference count: one plus the number of triangles that use it; 0 for an
    // invalid ID (not reported).
    int GetVertexRefCount(unsigned vID) const
    {
        return m_vVertices.isValid(vID) ? m_vVertices.refCount(vID) : 0;
    }
    // Number of triangles that use the vertex (0 for an invalid ID, reported).
    unsigned GetTriangleCount(unsigned vID) const;
    // Number of edges at the vertex, its valence (0 for an invalid ID, reported).
    unsigned GetVertexEdgeCount(unsigned vID) const;
    // Appends the vertex's triangles in insertion order (nothing for an invalid ID, reported).
    void GetVertexTriangles(unsigned vID, std::vector<unsigned>& triangles) const;
    // True when an edge at the vertex has exactly one triangle; false for an invalid ID.
    bool IsBoundaryVertex(unsigned vID) const;
    // The manifold-vertex test: counts the vertex's edges with fewer than two triangles (or an
    // InvalidID in either triangle slot) and passes while that count is below three. False for an
    // invalid ID.
    bool IsManifoldVertex(unsigned vID) const;

    // The one-ring of a vertex in order around it, following the winding of its triangles:
    // neighbour vertices into `vertices` and, when asked, the triangles between them into
    // `pTriangles` (both cleared first). An interior vertex gives a closed ring (as many vertices
    // as triangles); a boundary vertex with two boundary edges an open fan starting on a boundary
    // edge (one vertex more than triangles). Any other vertex (pinch points, non-manifold edges,
    // inconsistent winding) is reported as "Vertex %d has %d boundary edges - cannot find proper
    // one-ring" and gives false with empty outputs; an isolated vertex gives true and nothing.
    bool GetVtxOneRing(unsigned vID, std::vector<unsigned>& vertices,
                       std::vector<unsigned>* pTriangles = nullptr) const;

    // Vertex flag word: flag f is bit f mod 32. Set and clear report an invalid ID and do nothing;
    // GetVertexFlags gives 0 and HasVertexFlag false for it.
    unsigned GetVertexFlags(unsigned vID) const;
    void SetVertexFlag(unsigned vID, unsigned flag);
    void ClearVertexFlag(unsigned vID, unsigned flag);
    bool HasVertexFlag(unsigned vID, unsigned flag) const;

    // ---- Triangles ----

    // Appends triangle (v1, v2, v3) in that winding and returns its ID; InvalidID, with nothing
    // changed, when a vertex is not live or two are equal.
    unsigned AppendTriangle(unsigned v1, unsigned v2, unsigned v3, unsigned groupID = 0);
    // The slot becomes a hole; edges left without a triangle are removed; vertices stay (an
    // isolated vertex keeps reference count 1). An invalid ID is reported and changes nothing.
    void RemoveTriangle(unsigned tID) override;

    void GetTriangle(unsigned tID, Index3i& tri) const override;
    const unsigned* GetTriangle(unsigned tID) const override;
    unsigned GetTriangleCount() const override { return m_vTriangles.count(); }
    unsigned GetMaxTriangleID() const override { return m_vTriangles.maxIndex(); }
    bool IsTriangle(unsigned tID) const override { return m_vTriangles.isValid(tID); }
    // Vertex ID of corner j (0..2); InvalidID (reported) for an invalid triangle or corner.
    unsigned GetTriangleVertex(unsigned tID, unsigned j) const;
    // Position of corner j; zero (reported) for an invalid triangle or corner.
    void GetTriVertex(unsigned tID, unsigned j, Vector3f& v) const;
    // Edge IDs of (a, b), (b, c), (c, a); InvalidIDs (reported) for an invalid triangle.
    void GetTriEdges(unsigned tID, Index3i& edges) const;
    // The neighbour triangles across (a, b), (b, c), (c, a): InvalidID where an edge has no other
    // triangle; on a non-manifold edge, the first other triangle of the edge's list. Three
    // InvalidIDs (reported) for an invalid triangle.
    void GetTriNeighbourTris(unsigned tID, Index3i& neighbours) const;
    // True when one of the edges (0,1), (1,2), (2,0) is a boundary edge; false for an invalid ID
    // (not reported, like the other Is... queries).
    bool IsBoundaryTriangle(unsigned tID) const;

    unsigned GetTriangleGroup(unsigned tID) const override;
    void SetTriangleGroup(unsigned tID, unsigned groupID);

    // Triangle flag word: flag f is bit f mod 32. Set and clear assert "m_vTriangles.isValid(tID)"
    // and do nothing for an invalid ID; GetTriangleFlags gives 0 and HasTriangleFlag false for it.
    // Distinct triangles have distinct words, so different threads may flag different triangles.
    unsigned GetTriangleFlags(unsigned tID) const;
    void SetTriangleFlag(unsigned tID, unsigned flag);
    void ClearTriangleFlag(unsigned tID, unsigned flag);
    bool HasTriangleFlag(unsigned tID, unsigned flag) const;

    // ---- Edges ----

    unsigned GetEdgeCount() const { return m_vEdges.count(); }
    unsigned GetMaxEdgeID() const { return m_vEdges.maxIndex(); }
    bool IsEdge(unsigned eID) const { return m_vEdges.isValid(eID); }
    // The edge joining two vertices, found through the first vertex's edge list; InvalidID when
    // there is none, either ID is invalid or both are the same vertex. Never asserts.
    unsigned FindEdge(unsigned v1, unsigned v2) const;
    // The edge's two vertices; InvalidIDs (reported) for an invalid ID.
    void GetEdgeV(unsigned eID, Index2i& vertices) const;
    // Vertices and the first two triangles (the second InvalidID on a boundary edge). Asserts
    // "e.nTriangles.size() <= 2" on a non-manifold edge and still gives its first two triangles.
    void GetEdge(unsigned eID, Index2i& vertices, Index2i& triangles) const;
    // Vertices and the whole triangle list; safe on non-manifold edges.
    EdgeTriangles GetEdge(unsigned eID, Index2i& vertices) const;
    // As GetEdge, triangles only.
    void GetEdgeT(unsigned eID, Index2i& triangles) const;
    // Number of triangles of the edge (0, reported, for an invalid ID).
    unsigned GetEdgeTriangleCount(unsigned eID) const;
    // Exactly one triangle; asserts "m_vEdges.isValid(eID)" and gives false for an invalid ID.
    bool IsBoundaryEdge(unsigned eID) const;
    // False when no edge joins the two vertices, else as above. Never asserts.
    bool IsBoundaryEdge(unsigned v1, unsigned v2) const;
    // More than two triangles; false for an invalid ID.
    bool IsNonManifold(unsigned eID) const;
    // The IDs of all edges with more than two triangles, ascending.
    const std::set<unsigned>& GetNonManifoldEdges() const { return m_NonManifoldEdges; }

    // ---- Iteration ----

    // Start an iteration around itr.vID; an invalid vertex asserts "m_vVertices.isValid(v.vID)"
    // and the iteration yields nothing.
    void BeginVtxTriangles(VtxNbrItr& v) const { beginVtxList(v, &VertexData::triangles); }
    void BeginVtxEdges(VtxNbrItr& v) const { beginVtxList(v, &VertexData::edges); }
    // Next incident triangle (after BeginVtxTriangles) or InvalidID at the end.
    unsigned GetNextVtxTriangle(VtxNbrItr& v) const { return nextEntry(v); }
    // Next incident edge (after BeginVtxEdges) or InvalidID at the end.
    unsigned GetNextVtxEdge(VtxNbrItr& v) const { return nextEntry(v); }
    // Other vertex of the next incident edge (after BeginVtxEdges) or InvalidID at the end.
    unsigned GetNextVtxNbr(VtxNbrItr& v) const
    {
        const unsigned eID = nextEntry(v);
        if (eID == InvalidID)
            return InvalidID;
        const Edge& e = m_vEdges[eID];
        return e.nVertices[0] == v.vID ? e.nVertices[1] : e.nVertices[0];
    }

    // Live IDs in ascending order, skipping holes.
    vertex_iterator BeginVertices() const { return {&m_vVertices, 0}; }
    vertex_iterator EndVertices() const { return {&m_vVertices, GetMaxVertexID()}; }
    triangle_iterator BeginTriangles() const { return {&m_vTriangles, 0}; }
    triangle_iterator EndTriangles() const { return {&m_vTriangles, GetMaxTriangleID()}; }
    edge_iterator BeginEdges() const { return {&m_vEdges, 0}; }
    edge_iterator EndEdges() const { return {&m_vEdges, GetMaxEdgeID()}; }
    IDRange<vertex_iterator> Vertices() const { return {BeginVertices(), EndVertices()}; }
    IDRange<triangle_iterator> Triangles() const { return {BeginTriangles(), EndTriangles()}; }
    IDRange<edge_iterator> Edges() const { return {BeginEdges(), EndEdges()}; }

    // ---- Edge collapse ----

    // Whether the edge may be collapsed without leaving a non-manifold edge or vertex, a
    // duplicate triangle or a triangle with two equal corners. Boundary edges are refused unless
    // `bAllowBoundary`; non-manifold edges always. False for an invalid ID. Symmetric in the ends.
    bool CanCollapseEdge(unsigned eID, bool bAllowBoundary = false) const;
    // Collapses the interior edge joining the two vertices: keeps `vKeep` (at its position) unless
    // only `vRemove` lies on the boundary, in which case that one is kept. The removed end and
    // the two removed triangles go to `info`; triangles of the removed end keep their IDs, flags
    // and groups. False, with nothing changed, when the edge is missing, on the boundary or
    // refused by CanCollapseEdge.
    bool CollapseEdge(unsigned vKeep, unsigned vRemove, EdgeCollapseInfo& info);
    // As CollapseEdge for a boundary edge: always keeps `vKeep`; one triangle disappears.
    bool CollapseBoundaryEdge(unsigned vKeep, unsigned vRemove, EdgeCollapseInfo& info);

    // ---- Borders of triangle sets ----

    // Appends the border loops of a set of triangles (IDs that are not live are ignored). A
    // border edge is an edge with exactly one triangle in the set. Each loop starts on its
    // smallest unused border edge, oriented along the winding of that edge's triangle in the set,
    // and follows unused border edges by adjacency (the first in the vertex's edge order). Gives
    // false when some chain did not close (it is still appended, with bIsClosed false).
    bool GetBoundaryLoops(const std::set<unsigned>& triangles, std::vector<BoundaryLoop>& loops) const;

    // Bytes held by the element and adjacency storage (allocated capacity).
    size_t GetAllocatedBytes() const;

protected:
    // Puts triangle (v1, v2, v3) at slot `tID`, which must be free (used by layers that mirror
    // another mesh's triangle IDs). InvalidID, with nothing changed, on a bad vertex or live slot.
    unsigned InsertTriangle(unsigned tID, unsigned v1, unsigned v2, unsigned v3, unsigned groupID = 0);

private:
    // Next entry of the iterator's list: positions below kInline read the record, the rest
    // follow the overflow chain. InvalidID at the end or for an iterator that was not started.
    static unsigned nextEntry(VtxNbrItr& v)
    {
        if (!v.pList || v.nPosition >= v.pList->nCount)
            return InvalidID;
        const unsigned i = v.nPosition++;
        if (i < kInline)
            return v.pList->nInline[i];
        const unsigned k = (i - kInline) % OverflowChunk::kSize;
        if (i == kInline)
            v.nChunk = v.pList->nOverflow;
        else if (k == 0)
            v.nChunk = (*v.pOverflow)[v.nChunk].nNext;
        return (*v.pOverflow)[v.nChunk].nValues[k];
    }

    // An iterator over one adjacency list (`&VertexData::triangles` or `&VertexData::edges`) of a
    // live vertex; it yields nothing when the vertex has no adjacency.
    VtxNbrItr listCursor(unsigned vID, IndexList VertexData::*list) const;
    // BeginVtxTriangles and BeginVtxEdges: the same start on either list.
    void beginVtxList(VtxNbrItr& v, IndexList VertexData::*list) const;
    VertexData& ensureVertexData(unsigned vID);
    void releaseVertexDataIfEmpty(unsigned vID);

    // Adjacency list primitives (order-preserving).
    void listPush(IndexList& list, unsigned value);
    bool listRemove(IndexList& list, unsigned value);
    void listClear(IndexList& list);

    void linkTriangle(unsigned tID);
    void unlinkTriangle(unsigned tID);
    void addEdgeTriangle(unsigned eID, unsigned tID);
    void removeEdgeTriangle(unsigned eID, unsigned tID);
    unsigned edgeOtherTriangle(unsigned eID, unsigned tID) const;
    bool collapse(unsigned vKeep, unsigned vRemove, bool bBoundary, EdgeCollapseInfo& info);

    RefCountedVector<Vertex> m_vVertices;
    RefCountedVector<Triangle> m_vTriangles;
    RefCountedVector<Edge> m_vEdges;
    MemoryPool<VertexData> m_VertexDataPool;
    MemoryPool<OverflowChunk> m_OverflowPool;
    std::unordered_map<unsigned, std::vector<unsigned>> m_EdgeOverflow;  // third triangle onward
    std::set<unsigned> m_NonManifoldEdges;
};

// Inline: scans over every edge call it once per edge.
inline bool VFTriangleMesh::IsBoundaryEdge(unsigned eID) const
{
    if (!VSK_ASSERT(m_vEdges.isValid(eID)))
        return false;
    const Edge& e = m_vEdges[eID];
    return e.nTriangles[0] != InvalidID && e.nTriangles[1] == InvalidID;
}

}  // namespace vsk
