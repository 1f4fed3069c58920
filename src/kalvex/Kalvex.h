#pragma once
// The whole public interface of the library.

#include "kalvex/object/AttachmentBag.h"
#include "kalvex/object/BaseObject.h"
#include "kalvex/object/BaseTypeObject.h"
#include "kalvex/object/BitVector.h"
#include "kalvex/object/Logging.h"
#include "kalvex/object/Observer.h"
#include "kalvex/object/RefCountObject.h"
#include "kalvex/object/SmartPtr.h"
#include "kalvex/object/Subject.h"
#include "kalvex/object/TimeStamp.h"

#include "kalvex/fields/Field.h"
#include "kalvex/fields/FieldClasses.h"
#include "kalvex/fields/FieldType.h"
#include "kalvex/fields/FieldTypes.h"
#include "kalvex/fields/Image.h"
#include "kalvex/fields/PCMSound.h"
#include "kalvex/fields/Qubit.h"
#include "kalvex/fields/Rotation.h"
#include "kalvex/fields/ValueConversion.h"
#include "kalvex/fields/XField.h"

#include "kalvex/events/EventSlot.h"

#include "kalvex/nodes/Node.h"
#include "kalvex/nodes/NodeEnums.h"
#include "kalvex/nodes/NodeLink.h"
#include "kalvex/nodes/NodePartDesc.h"
#include "kalvex/nodes/NodeProc.h"
#include "kalvex/nodes/NodeType.h"

#include "kalvex/runtime/Context.h"
#include "kalvex/runtime/System.h"

#include "kalvex/platform/osg/Color.h"
#include "kalvex/platform/osg/Log.h"
#include "kalvex/platform/osg/Matrix.h"
#include "kalvex/platform/osg/Plane.h"
#include "kalvex/platform/osg/Quaternion.h"
#include "kalvex/platform/osg/Vector.h"
