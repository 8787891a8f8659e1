#pragma once

namespace Quelm::Topology
{

// Silences OpenMesh's diagnostic streams (omout, omlog, omerr) while alive, so that file reads,
// writes and refused face insertions stay quiet.
//
// Those streams are process-wide and OpenMesh offers no per-call sink, so the scope switches them
// off and later puts back exactly the state it found: a host that had disabled them keeps them
// disabled, a host that uses them finds them enabled again. Nested and concurrent scopes share
// one switch through a depth count, so one call ending never re-enables the streams under
// another. The price: what a host writes to those streams from another thread while one of our
// calls runs is dropped.
class OpenMeshQuietScope
{
public:
    OpenMeshQuietScope();
    ~OpenMeshQuietScope();
    OpenMeshQuietScope(const OpenMeshQuietScope&) = delete;
    OpenMeshQuietScope& operator=(const OpenMeshQuietScope&) = delete;
};

}  // namespace Quelm::Topology
