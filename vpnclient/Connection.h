#pragma once

namespace QZ::RPC
{
class DispatchClient;
}

// Stops and destroys the connection to the VPN service and clears the pointer;
// a null pointer is left alone. Whatever stop() raises, the connection is gone
// afterwards; true when stop() went through. Only the forced unwind of a
// cancelled thread passes, after the connection is gone.
bool dropConnection(QZ::RPC::DispatchClient*& connection);
