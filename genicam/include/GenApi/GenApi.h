// Everything a client of the node-map engine needs.
#pragma once

#include <GenICam/GCException.h>
#include <GenICam/GCString.h>
#include <GenApi/Types.h>
#include <GenApi/Synch.h>
#include <GenApi/IPort.h>
#include <GenApi/INode.h>
#include <GenApi/IValue.h>
#include <GenApi/IInteger.h>
#include <GenApi/IFloat.h>
#include <GenApi/IBoolean.h>
#include <GenApi/ICommand.h>
#include <GenApi/IString.h>
#include <GenApi/ICategory.h>
#include <GenApi/IEnumeration.h>
#include <GenApi/INodeMap.h>
#include <GenApi/Pointer.h>
#include <GenApi/NodeMapRef.h>
