// The filter chain and the exported instantiations of the owning pointer array.
#pragma once

#include <includeinside/clxautoptrarrayinside.h>
#include <lxapi/lxapi_ip.h>
