# Writes the small hand-made inputs of the tool's tests (malformed files, a bow tie, meshes with
# holes) into WORKDIR.
file(WRITE "${WORKDIR}/notes.xyz" "not a mesh format\n")
file(WRITE "${WORKDIR}/empty.off" "")
# A binary PLY whose header announces 10 vertices and 5 faces, with no data after it.
file(WRITE "${WORKDIR}/truncated.ply"
    "ply\nformat binary_little_endian 1.0\nelement vertex 10\nproperty float x\nproperty float y\n"
    "property float z\nelement face 5\nproperty list uchar int vertex_indices\nend_header\n")
# Two triangles that share only one vertex: untextured, so writing it removes both.
file(WRITE "${WORKDIR}/bowtie.obj" "v 0 0 0\nv 1 0 0\nv 1 1 0\nv -1 0 0\nv -1 -1 0\nf 1 2 3\nf 1 4 5\n")

# A 3 x 3 grid of unit squares (vertex 1 + 4 y + x at (x, y)) without its middle square, and apart
# from it one triangle with legs of 10: three boundary loops, the triangle's the longest (3
# vertices, 20 + 10 sqrt 2), then the outer border (12 vertices, 12), then the hole (4, 4).
set(holed "")
foreach(y RANGE 3)
    foreach(x RANGE 3)
        string(APPEND holed "v ${x} ${y} 0\n")
    endforeach()
endforeach()
foreach(y RANGE 2)
    foreach(x RANGE 2)
        if(NOT (x EQUAL 1 AND y EQUAL 1))
            math(EXPR a "1 + 4 * ${y} + ${x}")
            math(EXPR b "${a} + 1")
            math(EXPR c "${a} + 5")
            math(EXPR d "${a} + 4")
            string(APPEND holed "f ${a} ${b} ${c}\nf ${a} ${c} ${d}\n")
        endif()
    endforeach()
endforeach()
string(APPEND holed "v 20 0 0\nv 30 0 0\nv 20 10 0\nf 17 18 19\n")
file(WRITE "${WORKDIR}/holed.obj" "${holed}")
# The bow tie next to a lone right triangle with legs of 1: the loops through the pinch vertex
# are dropped, the triangle's stays (3 vertices, 2 + sqrt 2); both bow-tie triangles touch the
# pinch vertex.
file(WRITE "${WORKDIR}/pinch.obj" "v 0 0 0\nv 1 0 0\nv 1 1 0\nv -1 0 0\nv -1 -1 0\nv 5 0 0\nv 6 0 0\nv 5 1 0\n"
    "f 1 2 3\nf 1 4 5\nf 6 7 8\n")

# A number that is not one on line 6, and OBJ files whose material library is a device or a
# named pipe (the colour path must neither read the device without end nor wait on the pipe).
file(WRITE "${WORKDIR}/bad.obj" "# made by hand\nv 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 3\nv 0 x 1\n")
file(WRITE "${WORKDIR}/material-device.obj" "mtllib /dev/zero\nv 0 0 0\nv 1 0 0\nv 0 1 0\nusemtl a\nf 1 2 3\n")
file(REMOVE "${WORKDIR}/pipe.mtl")
execute_process(COMMAND mkfifo "${WORKDIR}/pipe.mtl" RESULT_VARIABLE fifo)
if(NOT fifo EQUAL 0)
    message(FATAL_ERROR "mkfifo failed: ${fifo}")
endif()
file(WRITE "${WORKDIR}/material-pipe.obj" "mtllib pipe.mtl\nv 0 0 0\nv 1 0 0\nv 0 1 0\nusemtl a\nf 1 2 3\n")
