#include "host/DevData.h"

#include "vpnclient/Connection.h"

// In a source of its own: a run glue over another device logic takes only this.
DEV_DATA::~DEV_DATA() { dropConnection(pDispatchClient); }
