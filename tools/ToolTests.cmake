# ctest cases that run the built qlm-mesh: exit codes and output, on generated meshes and on bad
# arguments and files. Files go to the build folder's tooltest/ (rewritten by every run).
set(QLM_TOOL_WORKDIR ${CMAKE_CURRENT_BINARY_DIR}/tooltest)
file(MAKE_DIRECTORY ${QLM_TOOL_WORKDIR})

# qlm_tool_test(NAME CODE ARGS [OUT regex] [ERR regex] [ONE_LINE_ERROR] [SETUP fixture] [REQUIRES fixtures])
function(qlm_tool_test name code args)
    cmake_parse_arguments(T "ONE_LINE_ERROR" "OUT;ERR;SETUP" "REQUIRES" ${ARGN})
    set(defs -DTOOL=$<TARGET_FILE:qlm-mesh> -DARGS=${args} -DCODE=${code} -DWORKDIR=${QLM_TOOL_WORKDIR})
    if(DEFINED T_OUT)
        list(APPEND defs "-DOUT=${T_OUT}")
    endif()
    if(DEFINED T_ERR)
        list(APPEND defs "-DERR=${T_ERR}")
    endif()
    if(T_ONE_LINE_ERROR)
        list(APPEND defs -DONE_LINE_ERROR=ON)
    endif()
    add_test(NAME tool.${name} COMMAND ${CMAKE_COMMAND} ${defs} -P ${CMAKE_CURRENT_SOURCE_DIR}/RunTool.cmake)
    if(T_SETUP)
        set_tests_properties(tool.${name} PROPERTIES FIXTURES_SETUP ${T_SETUP})
    endif()
    if(T_REQUIRES)
        set_tests_properties(tool.${name} PROPERTIES FIXTURES_REQUIRED "${T_REQUIRES}")
    endif()
endfunction()

# Hand-made files, written once per run.
add_test(NAME tool.prepareInputFiles COMMAND ${CMAKE_COMMAND} -DWORKDIR=${QLM_TOOL_WORKDIR}
    -P ${CMAKE_CURRENT_SOURCE_DIR}/WriteInputFiles.cmake)
set_tests_properties(tool.prepareInputFiles PROPERTIES FIXTURES_SETUP inputFiles)

# Generated inputs. 2000 faces is exactly 20 x 10^2, so the sphere has exactly that many.
qlm_tool_test(generateSphere 0 "generate|sphere|2000|sphere.ply"
    OUT "generated sphere: 1002 vertices, 2000 faces" SETUP sphere)
qlm_tool_test(generateTerrain 0 "generate|terrain|20000|terrain.obj" OUT "generated terrain: [0-9]+ vertices"
    SETUP terrain)

qlm_tool_test(infoSphere 0 "info|sphere.ply" REQUIRES sphere
    OUT "vertices +1002\nfaces +2000\nboundary faces +0\nselected faces +0\ncomponents +1\nnon-manifold vertices +no")
qlm_tool_test(infoJson 0 "info|sphere.ply|--json" REQUIRES sphere
    OUT "^{\"file\": \"sphere.ply\", \"vertices\": 1002, \"faces\": 2000, \"boundaryFaces\": 0, .*\"hasNonManifoldVertices\": false, \"boundingBox\": {\"min\": \\[-1(\\.0+)?, .*\"seconds\": {\"read\": [0-9.e-]+, .*}}\n$")
qlm_tool_test(infoTerrainHasBoundaries 0 "info|terrain.obj" REQUIRES terrain
    OUT "boundary faces +[1-9][0-9]*\n.*components +9\n")

qlm_tool_test(convertToObj 0 "convert|sphere.ply|sphere.obj" REQUIRES sphere
    OUT "read +sphere.ply: 1002 vertices, 2000 faces.*wrote +sphere.obj: 1002 vertices, 2000 faces" SETUP sphereObj)
qlm_tool_test(convertedObjReads 0 "info|sphere.obj" REQUIRES sphereObj OUT "faces +2000\n")
# The library's own message comes out on stdout, in order with the tool's lines.
qlm_tool_test(convertRemovesNonManifoldFaces 0 "convert|bowtie.obj|bowtie.off" REQUIRES inputFiles
    OUT "read +bowtie.obj: 5 vertices, 2 faces[^\n]*\nRemoved 2 degenerate faces\nwrote +bowtie.off: 0 vertices, 0 faces")
qlm_tool_test(convertToStlWithNormals 0 "convert|terrain.obj|terrain.stl|--normals" REQUIRES terrain)

qlm_tool_test(decimateRatio 0 "decimate|sphere.ply|sphere-half.ply|--ratio|0.5" REQUIRES sphere
    OUT "input +sphere.ply: 2000 faces.*output +sphere-half.ply: 1[0-9][0-9][0-9] faces.*time \\(s\\) +read")
qlm_tool_test(decimateParallel 0 "decimate|terrain.obj|terrain-small.ply|--ratio|0.9|--parallel|--threads|2"
    REQUIRES terrain OUT "pass 1 +level 5: 125 grid cells, [0-9]+ holding.*pass 2 +level 2: 8 grid cells.*decimate")
qlm_tool_test(decimateParallelEveryOption 0
    "decimate|terrain.obj|terrain-coarse.om|--ratio|0.6|--parallel|--coarse-grid|--no-gc|--update-normals|--error-factor|0.5|--max-angle|60|--threads|1"
    REQUIRES terrain OUT "coarse grid\ngrid +[0-9]+ decimatable faces\npass 1 +level 2: 8 grid cells.*pass 2 +level 2.*output +terrain-coarse.om: [0-9]+ faces")
qlm_tool_test(decimateRatioZeroChangesNothing 0 "decimate|sphere.ply|sphere-same.ply|--ratio|0|--parallel"
    REQUIRES sphere OUT "output +sphere-same.ply: 2000 faces" ERR "nothing was collapsed")
qlm_tool_test(decimateCollapses 0 "decimate|sphere.ply|sphere-100.off|--collapses|100|--lock-boundary"
    REQUIRES sphere OUT "output +sphere-100.off: 1800 faces")
qlm_tool_test(smooth 0 "smooth|sphere.ply|sphere-smooth.ply|--iterations|3" REQUIRES sphere
    OUT "smoothed +sphere.ply -> sphere-smooth.ply: 2000 faces")

qlm_tool_test(help 0 "--help" OUT "^usage: qlm-mesh COMMAND ARGS\n.*  qlm-mesh holes FILE.*exit codes: ")

# Hand-checked hole reports (see WriteInputFiles.cmake), longest loop first.
qlm_tool_test(holesLoopsLongestFirst 0 "holes|holed.obj" REQUIRES inputFiles
    OUT "vertices +19\ntriangles +17\nboundary loops +3\n +# +vertices +length\n +1 +3 +34\\.14214\n +2 +12 +12\n +3 +4 +4\nopen paths +0\nnon-manifold triangles +0\n$")
qlm_tool_test(holesJson 0 "holes|holed.obj|--json" REQUIRES inputFiles
    OUT "^{\"file\": \"holed.obj\", \"vertices\": 19, \"triangles\": 17, \"loopCount\": 3, \"loops\": \\[{\"vertices\": 3, \"length\": 34\\.1421356}, {\"vertices\": 12, \"length\": 12}, {\"vertices\": 4, \"length\": 4}], \"pathCount\": 0, \"paths\": \\[], \"nonManifoldTriangles\": 0}\n$")
qlm_tool_test(holesClosedMesh 0 "holes|sphere.ply" REQUIRES sphere
    OUT "vertices +1002\ntriangles +2000\nboundary loops +0\nopen paths +0\nnon-manifold triangles +0\n$")
qlm_tool_test(holesPinchVertex 0 "holes|pinch.obj" REQUIRES inputFiles
    OUT "vertices +8\ntriangles +3\nboundary loops +1\n[^\n]*\n +1 +3 +3\\.414214\nopen paths +0\nnon-manifold triangles +2\n$")

# An untextured OBJ: every triangle black and counted; the PLY written reads back.
qlm_tool_test(colorsUntextured 0 "colors|holed.obj|holed-colors.ply" REQUIRES inputFiles
    OUT "read +holed.obj: 19 vertices, 17 triangles, 0 materials.*coloured 17 triangles, 17 without texture \\(black\\).*wrote +holed-colors.ply"
    SETUP coloursPly)
qlm_tool_test(colorsPlyReads 0 "info|holed-colors.ply" REQUIRES coloursPly OUT "vertices +19\nfaces +17\n")
# A material library that is a device or a named pipe costs a warning: it is neither read until
# memory runs out nor waited on.
foreach(kind device pipe)
    qlm_tool_test(colorsMaterial_${kind} 0 "colors|material-${kind}.obj|material-${kind}.ply" REQUIRES inputFiles
        OUT "coloured 1 triangles" ERR "is not a regular file")
    set_tests_properties(tool.colorsMaterial_${kind} PROPERTIES TIMEOUT 20)
endforeach()

# Bad arguments and files: one line on stderr, exit code 2.
qlm_tool_test(noCommand 2 "" ONE_LINE_ERROR ERR "^qlm-mesh: no command given \\(see qlm-mesh --help\\)")
qlm_tool_test(unknownCommand 2 "frobnicate" ONE_LINE_ERROR
    ERR "^qlm-mesh: unknown command 'frobnicate' \\(see qlm-mesh --help\\)")
qlm_tool_test(infoMissingFile 2 "info|no-such-file.ply" ONE_LINE_ERROR ERR "no such file")
qlm_tool_test(infoFolder 2 "info|." ONE_LINE_ERROR ERR "^qlm-mesh info: cannot read '.': is a folder\n$")
qlm_tool_test(infoUnknownExtension 2 "info|notes.xyz" ONE_LINE_ERROR REQUIRES inputFiles ERR "not an OBJ")
qlm_tool_test(infoTruncatedPly 2 "info|truncated.ply" ONE_LINE_ERROR REQUIRES inputFiles
    ERR "^qlm-mesh info: cannot read 'truncated.ply': line 3: element 'vertex' announces 10 records, more than the 0 bytes after the header can hold\n$")
# Every command that reads a mesh prints the file check's reason, with its line.
foreach(command info holes convert decimate smooth)
    set(extra "")
    if(command STREQUAL "convert")
        set(extra "|x.ply")
    elseif(command STREQUAL "decimate")
        set(extra "|x.ply|--ratio|0.5")
    elseif(command STREQUAL "smooth")
        set(extra "|x.ply|--iterations|1")
    endif()
    qlm_tool_test(${command}PrintsTheReason 2 "${command}|bad.obj${extra}" ONE_LINE_ERROR REQUIRES inputFiles
        ERR "^qlm-mesh ${command}: cannot read 'bad.obj': line 6: 'x' is not a number\n$")
endforeach()
# A name outside ASCII is written and read back like any other.
qlm_tool_test(convertToNonAsciiName 0 "convert|sphere.ply|café-меш.obj" REQUIRES sphere SETUP nonAscii)
qlm_tool_test(infoNonAsciiName 0 "info|café-меш.obj" REQUIRES nonAscii OUT "faces +2000\n")
qlm_tool_test(infoEmptyOff 2 "info|empty.off" ONE_LINE_ERROR REQUIRES inputFiles)
qlm_tool_test(infoUnknownOption 2 "info|sphere.ply|--yaml" ONE_LINE_ERROR ERR "unknown option --yaml")
qlm_tool_test(infoTwoFiles 2 "info|a.ply|b.ply" ONE_LINE_ERROR)
qlm_tool_test(generateUnknownKind 2 "generate|cube|100|x.ply" ONE_LINE_ERROR ERR "unknown KIND")
qlm_tool_test(generateBadCount 2 "generate|sphere|12x|x.ply" ONE_LINE_ERROR ERR "FACES must be")
qlm_tool_test(generateZeroFaces 2 "generate|sphere|0|x.ply" ONE_LINE_ERROR)
qlm_tool_test(generateNegativeFaces 2 "generate|sphere|-5|x.ply" ONE_LINE_ERROR)
qlm_tool_test(generateHugeCount 2 "generate|sphere|99999999999999999999|x.ply" ONE_LINE_ERROR)
qlm_tool_test(generateNoFolder 2 "generate|sphere|100|no/such/folder/x.ply" ONE_LINE_ERROR ERR "no folder")
qlm_tool_test(convertBadExtension 2 "convert|sphere.ply|sphere.xyz" ONE_LINE_ERROR REQUIRES sphere)
qlm_tool_test(convertMissingOut 2 "convert|sphere.ply" ONE_LINE_ERROR)
qlm_tool_test(decimateNoAmount 2 "decimate|sphere.ply|x.ply" ONE_LINE_ERROR ERR "exactly one of")
qlm_tool_test(decimateBothAmounts 2 "decimate|sphere.ply|x.ply|--ratio|0.5|--collapses|10" ONE_LINE_ERROR)
qlm_tool_test(decimateRatioAboveOne 2 "decimate|sphere.ply|x.ply|--ratio|1.5" ONE_LINE_ERROR)
qlm_tool_test(decimateRatioNotNumber 2 "decimate|sphere.ply|x.ply|--ratio|half" ONE_LINE_ERROR)
qlm_tool_test(decimateRatioNaN 2 "decimate|sphere.ply|x.ply|--ratio|nan" ONE_LINE_ERROR)
qlm_tool_test(decimateMissingValue 2 "decimate|sphere.ply|x.ply|--ratio" ONE_LINE_ERROR ERR "needs a value")
qlm_tool_test(decimateCoarseWithoutParallel 2 "decimate|sphere.ply|x.ply|--ratio|0.5|--coarse-grid" ONE_LINE_ERROR)
qlm_tool_test(decimateLockWithRatio 2 "decimate|sphere.ply|x.ply|--ratio|0.5|--lock-boundary" ONE_LINE_ERROR)
qlm_tool_test(decimateBadAngle 2 "decimate|sphere.ply|x.ply|--ratio|0.5|--max-angle|0" ONE_LINE_ERROR)
qlm_tool_test(decimateNegativeError 2 "decimate|sphere.ply|x.ply|--ratio|0.5|--error-factor|-1" ONE_LINE_ERROR)
qlm_tool_test(decimateRepeated 2 "decimate|sphere.ply|x.ply|--ratio|0.5|--ratio|0.6" ONE_LINE_ERROR)
qlm_tool_test(decimateMissingInput 2 "decimate|nothing.ply|x.ply|--ratio|0.5" ONE_LINE_ERROR)
qlm_tool_test(smoothNoIterations 2 "smooth|sphere.ply|x.ply" ONE_LINE_ERROR ERR "--iterations N is required")
qlm_tool_test(smoothNegativeIterations 2 "smooth|sphere.ply|x.ply|--iterations|-1" ONE_LINE_ERROR)
qlm_tool_test(holesNoFile 2 "holes" ONE_LINE_ERROR ERR "expected one FILE")
qlm_tool_test(holesMissingFile 2 "holes|no-such-file.obj" ONE_LINE_ERROR ERR "no such file")
qlm_tool_test(holesTruncatedPly 2 "holes|truncated.ply" ONE_LINE_ERROR REQUIRES inputFiles ERR "cannot read 'truncated.ply': line 3: ")
qlm_tool_test(holesUnknownOption 2 "holes|holed.obj|--all" ONE_LINE_ERROR ERR "unknown option --all")
qlm_tool_test(colorsMissingObj 2 "colors|no-such-file.obj|x.ply" ONE_LINE_ERROR ERR "'no-such-file.obj': cannot read")
qlm_tool_test(colorsNotPly 2 "colors|holed.obj|x.off" ONE_LINE_ERROR ERR "the output is a PLY file")
qlm_tool_test(colorsNoFolder 2 "colors|holed.obj|no/such/folder/x.ply" ONE_LINE_ERROR ERR "no folder")
