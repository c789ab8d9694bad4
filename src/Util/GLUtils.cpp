#include "Util/GLUtils.h"

#include "Util/GLDispatch.h"
