# Writes the small hand-made inputs of the tool's tests (malformed files, a bow tie) into WORKDIR.
file(WRITE "${WORKDIR}/notes.xyz" "not a mesh format\n")
file(WRITE "${WORKDIR}/empty.off" "")
# A binary PLY whose header announces 10 vertices and 5 faces, with no data after it.
file(WRITE "${WORKDIR}/truncated.ply"
    "ply\nformat binary_little_endian 1.0\nelement vertex 10\nproperty float x\nproperty float y\n"
    "property float z\nelement face 5\nproperty list uchar int vertex_indices\nend_header\n")
# Two triangles that share only one vertex: untextured, so writing it removes both.
file(WRITE "${WORKDIR}/bowtie.obj" "v 0 0 0\nv 1 0 0\nv 1 1 0\nv -1 0 0\nv -1 -1 0\nf 1 2 3\nf 1 4 5\n")
