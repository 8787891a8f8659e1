#pragma once

// Every public header of the library.

#include "common/Box.h"
#include "common/Color3.h"
#include "common/MaterialGroup.h"
#include "common/Matrix4.h"
#include "common/Model.h"
#include "common/Node.h"
#include "common/OxmBasicString.h"
#include "common/RawMaterial.h"
#include "common/RawMesh.h"
#include "common/Util.h"
#include "common/Vector.h"
#include "common/oxmvertex.h"
#include "engine/EngineAssert.h"
#include "engine/Image.h"
#include "engine/Material.h"
#include "topology/OpenMeshUtility.h"
#include "topology/OxmOMTopology.h"
#include "topology/decimation/OpenMeshPartition.h"
#include "topology/decimation/OxmModQuadric.h"
