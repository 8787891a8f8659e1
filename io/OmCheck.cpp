#include "io/OmCheck.h"

#include "io/BinaryValues.h"
#include "io/ObjCheck.h"

#include <algorithm>
#include <string>
#include <vector>

namespace Quelm::IO::detail
{
namespace
{

// Chunk header fields, as the 16 bits of each chunk lay them out.
struct OmChunk
{
    bool named;
    unsigned entity;
    unsigned type;
    bool isFloat;
    unsigned dim;  // components - 1
    unsigned bits;
};

enum OmEntity : unsigned
{
    kVertex = 0,
    kMesh = 1,
    kFace = 2,
    kEdge = 4,
    kHalfedge = 6,
    kSentinel = 7
};

enum OmType : unsigned
{
    kPos = 0,
    kNormal = 1,
    kTexcoord = 2,
    kStatus = 3,
    kColor = 4,
    kCustom = 6,
    kTopology = 7
};

constexpr uint8_t kOmNewestVersion = (2 << 5) | 2;  // 2.2, the newest the reader accepts
constexpr uint8_t kOmHalfedgeVersion = (2 << 5) | 0;

// A plain (non-custom, non-topology) chunk the reader handles without tripping an assertion:
// its entity, type, float flag, component count and accepted bit sizes.
struct OmPlainChunk
{
    unsigned entity;
    unsigned type;
    bool isFloat;
    unsigned minDim, maxDim;
    unsigned bitsMask;  // bit b set: bits field b accepted
};

// clang-format off
constexpr OmPlainChunk kOmPlainChunks[] = {
    {kVertex, kPos,      true,  2, 2, 0b11},
    {kVertex, kNormal,   true,  2, 2, 0b11},
    {kVertex, kTexcoord, true,  1, 1, 0b01},
    {kVertex, kColor,    false, 2, 3, 0b01},
    {kVertex, kStatus,   false, 0, 0, 0b1111},
    {kFace,   kNormal,   true,  2, 2, 0b11},
    {kFace,   kColor,    false, 2, 3, 0b01},
    {kFace,   kStatus,   false, 0, 0, 0b1111},
    {kEdge,   kStatus,   false, 0, 0, 0b1111},
    {kHalfedge, kStatus, false, 0, 0, 0b1111},
    {kHalfedge, kTexcoord, true, 1, 1, 0b01},
};
// clang-format on

const OmPlainChunk* findOmPlainChunk(const OmChunk& c)
{
    for (const OmPlainChunk& row : kOmPlainChunks)
        if (row.entity == c.entity && row.type == c.type && row.isFloat == c.isFloat && c.dim >= row.minDim &&
            c.dim <= row.maxDim && ((row.bitsMask >> c.bits) & 1u))
            return &row;
    return nullptr;
}

// Status words are restored as 32-bit values whatever the bits field says.
uint64_t omScalarBytes(const OmChunk& c)
{
    if (c.type == kStatus)
        return 4;
    return c.isFloat ? (uint64_t(4) << c.bits) : (uint64_t(1) << c.bits);
}

std::string entityName(unsigned entity)
{
    switch (entity)
    {
    case kVertex:
        return "vertex";
    case kFace:
        return "face";
    case kEdge:
        return "edge";
    case kHalfedge:
        return "halfedge";
    default:
        return "mesh";
    }
}

class OmChecker
{
public:
    OmChecker(ByteSource& src, Fault& fault) : src_(src), fault_(fault) {}

    bool check()
    {
        unsigned char header[16];
        if (!src_.read(header, sizeof header))
            return fault_.atByte(src_.size(), "the file ends inside the 16-byte header");
        if (header[0] != 'O' || header[1] != 'M')
            return fault_.atByte(0, "not an OM file (no 'OM' at its start)");
        meshKind_ = header[2];
        version_ = header[3];
        if (meshKind_ != 'T' && meshKind_ != 'Q' && meshKind_ != 'P')
            return fault_.atByte(2, "unknown mesh kind (T, Q or P)");
        if (version_ > kOmNewestVersion)
            return fault_.atByte(3, "version " + std::to_string(version_ >> 5) + "." +
                                        std::to_string(version_ & 31) + " is newer than 2.2");
        nVertices_ = loadLE32(header + 4);
        nFaces_ = loadLE32(header + 8);
        nEdges_ = loadLE32(header + 12);
        if (nVertices_ > INT32_MAX || nFaces_ > INT32_MAX || 2 * nEdges_ > INT32_MAX)
            return fault_.atByte(4, "element counts past 2^31-1");  // beyond OpenMesh's handles
        // Every vertex needs its position: a count the file cannot hold is refused at once.
        if (nVertices_ * 12 > src_.left())
            return fault_.atByte(4, "the header announces " + std::to_string(nVertices_) +
                                        " vertices, more than the file's bytes can hold");

        while (src_.left() > 0)
        {
            chunkStart_ = src_.offset();
            unsigned char raw[2];
            if (!src_.read(raw, 2))
                return fault_.atByte(chunkStart_, "the file ends inside a chunk header");
            const unsigned bits = raw[0] | raw[1] << 8;
            const OmChunk c{((bits >> 1) & 1u) != 0,  (bits >> 2) & 7u,  (bits >> 5) & 15u,
                            ((bits >> 10) & 1u) != 0, (bits >> 11) & 7u, (bits >> 14) & 3u};
            if (c.entity == kSentinel)
                break;
            if (!chunk(c))
                return false;
        }
        return topologyIsConsistent();
    }

private:
    bool refuse(const std::string& what) { return fault_.atByte(chunkStart_, what); }
    bool cutShort() { return refuse("the file ends inside this chunk"); }

    uint64_t elementCount(unsigned entity) const
    {
        switch (entity)
        {
        case kVertex:
            return nVertices_;
        case kFace:
            return nFaces_;
        case kEdge:
            return nEdges_;
        case kHalfedge:
            return 2 * nEdges_;
        default:
            return 1;
        }
    }

    // True when the chunk's elements already exist in the mesh being built, so the reader's
    // per-element writes stay inside its arrays.
    bool elementsExist(unsigned entity) const
    {
        switch (entity)
        {
        case kVertex:
            return seenPositions_ || nVertices_ == 0;
        case kFace:
            return seenFaces_ || nFaces_ == 0;
        case kEdge:
        case kHalfedge:
            return seenHalfedges_ || nEdges_ == 0;
        default:
            return true;
        }
    }

    bool chunk(const OmChunk& c)
    {
        const bool isEntity = c.entity == kVertex || c.entity == kFace || c.entity == kEdge ||
                              c.entity == kHalfedge || c.entity == kMesh;
        if (!isEntity)
            return refuse("a chunk of unknown entity " + std::to_string(c.entity));
        if (c.named && (c.type != kCustom || !propertyName()))
            return false;
        if (c.type == kCustom)
            return c.named ? custom() : refuse("an unnamed custom chunk");
        if (c.type == kTopology)
            return topology(c);
        const OmPlainChunk* row = findOmPlainChunk(c);
        if (!row)
            return refuse("a " + entityName(c.entity) + " chunk of type " + std::to_string(c.type) +
                          " with a layout the reader does not take");
        if (c.entity == kVertex && c.type == kPos)
        {
            if (seenPositions_)
                return refuse("a second position chunk");
            seenPositions_ = true;
        }
        else if (!elementsExist(c.entity))
            return refuse("data for " + entityName(c.entity) + "s not yet created");
        if (version_ < kOmHalfedgeVersion && c.entity != kVertex)
            return refuse("non-vertex data in a file older than 2.0");  // faces may be dropped while read
        const uint64_t scalarBytes = omScalarBytes(c);
        const uint64_t n = elementCount(c.entity) * (c.dim + 1);
        if (n * scalarBytes > src_.left())
            return cutShort();
        if (c.type != kPos)
            return src_.skip(n * scalarBytes) || cutShort();
        for (uint64_t i = 0; i < n;)
        {
            // one block at a time: positions are most of an OM file
            const uint64_t batch = std::min<uint64_t>(n - i, ByteSource::kBlockBytes / scalarBytes);
            if (!src_.ensure(static_cast<size_t>(batch * scalarBytes)))
                return cutShort();
            const unsigned char* p = src_.data();
            for (uint64_t k = 0; k < batch; ++k)
                if (!isFiniteBinary(p + k * scalarBytes, static_cast<size_t>(scalarBytes), false))
                    return fault_.atByte(src_.offset() + k * scalarBytes,
                                         "vertex " + std::to_string((i + k) / 3) +
                                             " has a position that is not finite");
            src_.consume(static_cast<size_t>(batch * scalarBytes));
            i += batch;
        }
        return true;
    }

    // A name of one length byte and that many characters. Names of the standard properties are
    // refused: the reader would restore the data into the mesh's own attributes.
    bool propertyName()
    {
        unsigned char length = 0;
        std::string name;
        if (!src_.read(&length, 1))
            return cutShort();
        name.resize(length);
        if (length > 0 && !src_.read(&name[0], length))
            return cutShort();
        if (name.size() >= 2 && name[1] == ':')
            return refuse("a custom chunk named like a standard property " + quoted(name));
        return true;
    }

    // [type name, from version 2.2] block size, block.
    bool custom()
    {
        if (version_ >= kOmNewestVersion)
        {
            unsigned char length = 0;
            std::string typeName;
            if (!src_.read(&length, 1))
                return cutShort();
            typeName.resize(length);
            if (length > 0 && !src_.read(&typeName[0], length))
                return cutShort();
            // Strings and vectors restore with lengths taken from the data, one allocation each.
            if (typeName.find("std::") != std::string::npos || typeName.find("bool") != std::string::npos)
                return refuse("a custom chunk of type " + quoted(typeName) +
                              ", which sizes itself from its data");
        }
        unsigned char size[4];
        if (!src_.read(size, 4))
            return cutShort();
        return src_.skip(loadLE32(size)) || cutShort();
    }

    // `count` signed indices of 1, 2, 4 or 8 bytes each, appended to `out`; false when cut short
    // or outside the 32-bit range of OpenMesh's handles.
    bool readIndices(unsigned bits, uint64_t count, std::vector<int32_t>& out)
    {
        switch (bits)
        {
        case 0:
            return readIndicesOf<int8_t>(count, out);
        case 1:
            return readIndicesOf<int16_t>(count, out);
        case 2:
            return readIndicesOf<int32_t>(count, out);
        default:
            return readIndicesOf<int64_t>(count, out);
        }
    }

    template <class Int>
    bool readIndicesOf(uint64_t count, std::vector<int32_t>& out)
    {
        static_assert(sizeof(Int) <= 8);
        if (count * sizeof(Int) > src_.left())
            return cutShort();
        size_t at = out.size();
        out.resize(at + static_cast<size_t>(count));
        for (uint64_t i = 0; i < count;)
        {
            const size_t batch =
                static_cast<size_t>(std::min<uint64_t>(count - i, ByteSource::kBlockBytes / sizeof(Int)));
            if (!src_.ensure(batch * sizeof(Int)))
                return cutShort();
            const unsigned char* p = src_.data();
            bool inRange = true;
            for (size_t k = 0; k < batch; ++k)
            {
                Int value;  // OM files are little-endian, as is every platform this builds on
                std::memcpy(&value, p + k * sizeof(Int), sizeof(Int));
                inRange &= value >= INT32_MIN && value <= INT32_MAX;
                out[at + k] = static_cast<int32_t>(value);
            }
            if (!inRange)
                return refuse("an index outside the 32-bit range");
            src_.consume(batch * sizeof(Int));
            at += batch;
            i += batch;
        }
        return true;
    }

    bool topology(const OmChunk& c)
    {
        if (c.dim != 0 && !(c.entity == kHalfedge && c.dim == 2))
            return refuse("a topology chunk with " + std::to_string(c.dim + 1) + " components");
        if (c.entity == kFace && version_ < kOmHalfedgeVersion)
            return oldFaces(c);
        if (version_ < kOmHalfedgeVersion)
            return refuse("non-face topology in a file older than 2.0");
        if (c.entity == kHalfedge)
        {
            // per halfedge: next, to-vertex, face
            if (seenHalfedges_)
                return refuse("a second halfedge chunk");
            seenHalfedges_ = true;
            halfedgeChunk_ = chunkStart_;
            return readIndices(c.bits, 6 * nEdges_, halfedges_);
        }
        if (c.entity == kVertex)
        {
            if (!seenPositions_ || seenVertexHalfedges_)
                return refuse(seenPositions_ ? "a second vertex halfedge chunk"
                                             : "vertex halfedges before positions");
            seenVertexHalfedges_ = true;
            vertexChunk_ = chunkStart_;
            return readIndices(c.bits, nVertices_, vertexHalfedge_);
        }
        if (c.entity == kFace)
        {
            if (!seenHalfedges_ || seenFaces_)
                return refuse(seenHalfedges_ ? "a second face chunk" : "face halfedges before the halfedges");
            seenFaces_ = true;
            faceChunk_ = chunkStart_;
            return readIndices(c.bits, nFaces_, faceHalfedge_);
        }
        return refuse("topology for " + entityName(c.entity) + "s");
    }

    // Files before version 2.0 list faces by vertex index, so the reader's importer checks them.
    bool oldFaces(const OmChunk& c)
    {
        if (seenFaces_ || !seenPositions_)
            return refuse(seenFaces_ ? "a second face chunk" : "faces before positions");
        seenFaces_ = true;
        const uint64_t fixedCorners = meshKind_ == 'T' ? 3 : meshKind_ == 'Q' ? 4 : 0;
        for (uint64_t f = 0; f < nFaces_; ++f)
        {
            uint64_t corners = fixedCorners;
            if (meshKind_ == 'P')
            {
                unsigned char raw[2];
                if (!src_.read(raw, 2))
                    return cutShort();
                corners = raw[0] | raw[1] << 8;
                if (corners > kMaxFaceCorners)
                    return fault_.atByte(src_.offset() - 2,
                                         "a face of " + std::to_string(corners) + " corners (at most 1024)");
            }
            if (!src_.skip(corners << c.bits))
                return cutShort();
        }
        return true;
    }

    // The halfedge lists must describe a valid triangle mesh: the reader installs them as they
    // stand, and any broken link would send later circulators out of bounds or round forever.
    bool topologyIsConsistent()
    {
        if (version_ < kOmHalfedgeVersion)
            return true;
        const uint64_t end = src_.offset();
        if ((nEdges_ > 0 || nFaces_ > 0) && (!seenHalfedges_ || !seenFaces_))
            return fault_.atByte(end, "the file has no halfedge or face topology for its faces");
        if (nEdges_ > 0 && !seenVertexHalfedges_)
            return fault_.atByte(end, "the file has no vertex halfedges");
        const int64_t nHalfedges = static_cast<int64_t>(2 * nEdges_);
        const int64_t nVertices = static_cast<int64_t>(nVertices_);
        const int64_t nFaces = static_cast<int64_t>(nFaces_);
        const int32_t* he = halfedges_.data();
        auto next = [&](int64_t h) { return he[3 * h]; };
        auto toVertex = [&](int64_t h) { return he[3 * h + 1]; };
        auto face = [&](int64_t h) { return he[3 * h + 2]; };
        auto broken = [&](uint64_t chunkAt, const char* entity, int64_t element, const char* what)
        { return fault_.atByte(chunkAt, std::string(entity) + " " + std::to_string(element) + ": " + what); };
        std::vector<uint8_t> seenAsNext(static_cast<size_t>(nHalfedges), 0);
        std::vector<uint8_t> faceCorners(static_cast<size_t>(nFaces), 0);
        std::vector<uint8_t> hasOutgoing(static_cast<size_t>(nVertices), 0);
        for (int64_t h = 0; h < nHalfedges; ++h)
        {
            const int64_t n = next(h), v = toVertex(h), f = face(h);
            if (n < 0 || n >= nHalfedges || v < 0 || v >= nVertices || f < -1 || f >= nFaces)
                return broken(halfedgeChunk_, "halfedge", h, "an index out of range");
        }
        for (int64_t h = 0; h < nHalfedges; ++h)  // every index is in range from here on
        {
            const int64_t n = next(h), v = toVertex(h), f = face(h);
            if (seenAsNext[static_cast<size_t>(n)]++)
                return broken(halfedgeChunk_, "halfedge", h, "the successor of two halfedges");
            if (toVertex(n ^ 1) != v || face(n) != f)
                return broken(halfedgeChunk_, "halfedge", h,
                              "a successor that does not continue it in its face");
            if (toVertex(h ^ 1) == v)
                return broken(halfedgeChunk_, "halfedge", h, "an edge from a vertex to itself");
            if (f >= 0 && ++faceCorners[static_cast<size_t>(f)] > 3)
                return broken(halfedgeChunk_, "halfedge", h, "a face of more than 3 corners");
            hasOutgoing[static_cast<size_t>(toVertex(h ^ 1))] = 1;
        }
        for (int64_t f = 0; f < nFaces; ++f)
        {
            const int64_t h = faceHalfedge_[static_cast<size_t>(f)];
            if (faceCorners[static_cast<size_t>(f)] != 3 || h < 0 || h >= nHalfedges || face(h) != f)
                return broken(faceChunk_, "face", f, "not a triangle reached from its halfedge");
        }
        for (int64_t v = 0; v < static_cast<int64_t>(vertexHalfedge_.size()); ++v)
        {
            const int64_t h = vertexHalfedge_[static_cast<size_t>(v)];
            if (h == -1 && !hasOutgoing[static_cast<size_t>(v)])
                continue;
            if (h < 0 || h >= nHalfedges || toVertex(h ^ 1) != v)
                return broken(vertexChunk_, "vertex", v, "a halfedge that does not leave it");
        }
        return true;
    }

    ByteSource& src_;
    Fault& fault_;
    unsigned char meshKind_ = 0;
    uint8_t version_ = 0;
    uint64_t nVertices_ = 0, nFaces_ = 0, nEdges_ = 0;
    uint64_t chunkStart_ = 0;
    uint64_t halfedgeChunk_ = 0, vertexChunk_ = 0, faceChunk_ = 0;
    bool seenPositions_ = false, seenHalfedges_ = false, seenVertexHalfedges_ = false, seenFaces_ = false;
    std::vector<int32_t> halfedges_;  // next, to-vertex, face of each halfedge in turn
    std::vector<int32_t> vertexHalfedge_, faceHalfedge_;
};

}  // namespace

bool checkOm(ByteSource& src, Fault& fault)
{
    return OmChecker(src, fault).check();
}

}  // namespace Quelm::IO::detail
