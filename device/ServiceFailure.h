#pragma once

#include "host/DevData.h"
#include "platform/QZNet.h"

// Ends an operation whose service call failed: prints the diagnostic line for
// operation and line on standard output, drops the connection and returns
// kResultNoService. devData may be null.
int endWithServiceFailure(const char* operation, int line, const QZ::Net::Exception& failure,
                          DEV_DATA* devData);
