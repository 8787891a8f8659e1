#include "io/MeshFileCheck.h"

#include "io/ObjCheck.h"
#include "io/OffCheck.h"
#include "io/OmCheck.h"
#include "io/PlyCheck.h"

namespace Quelm::IO::detail
{
namespace
{

bool rewind(std::istream& in)
{
    in.clear();
    in.seekg(0, std::ios::beg);
    return static_cast<bool>(in);
}

}  // namespace

bool isMeshExtension(std::string_view extension)
{
    return extension == ".obj" || extension == ".off" || extension == ".ply" || extension == ".stl" ||
           extension == ".om";
}

std::string unknownExtensionReason(std::string_view extension)
{
    return (extension.empty() ? std::string("no extension") : "unknown extension " + quoted(extension)) +
           ": not an OBJ, OFF, PLY, STL or OM file";
}

MeshFileCheck checkMeshFile(std::istream& in, std::string_view extension)
{
    MeshFileCheck result;
    Fault fault;
    in.clear();
    in.seekg(0, std::ios::end);
    const std::streamoff size = in.tellg();
    if (!isMeshExtension(extension))
        fault.general(unknownExtensionReason(extension));
    else if (size < 0 || !rewind(in))
        fault.general("its size cannot be taken");
    else
    {
        ByteSource src(in, static_cast<uint64_t>(size));
        bool accepted = false;
        if (extension == ".obj")
            accepted = checkObj(src, fault);
        else if (extension == ".off")
            accepted = checkOff(src, fault);
        else if (extension == ".ply")
            accepted = checkPly(src, fault);
        else if (extension == ".stl")
            accepted = checkStl(src, result.stlMode, fault);
        else
            accepted = checkOm(src, fault);
        if (accepted && !rewind(in))
            fault.general("it cannot be read again from its start");
        result.isAccepted = accepted && fault.empty();
    }
    rewind(in);
    if (!result.isAccepted)
        result.reason = fault.empty() ? std::string("refused by the file check") : fault.reason();
    return result;
}

}  // namespace Quelm::IO::detail
