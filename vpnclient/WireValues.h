#pragma once

#include "platform/QZUtils.h"
#include "vpnclient/DeviceVPNInfo.h"

#include <cstdint>

// How each type of value stands in an argument or result block: a type tag,
// then the value. Writers ignore a full buffer: the exchange then fails.

template <class T>
struct WireType;

template <>
struct WireType<QZ::utils::String> {
    static constexpr const char* kTag = "QZ::utils::String";
    static void write(QZ::utils::IBuffer* buffer, const QZ::utils::String& value)
    {
        value.serialize(buffer);
    }
    static bool read(QZ::utils::IBuffer* buffer, QZ::utils::String& value)
    {
        return value.deserialize(buffer) != 0;
    }
};

template <>
struct WireType<int> {
    static constexpr const char* kTag = "int";
    static_assert(sizeof(int) == 4, "an int travels as its four bytes");
    static void write(QZ::utils::IBuffer* buffer, const int& value)
    {
        buffer->write(&value, sizeof value, 0);
    }
    static bool read(QZ::utils::IBuffer* buffer, int& value)
    {
        return buffer->read(&value, sizeof value, 0) != 0;
    }
};

template <>
struct WireType<bool> {
    static constexpr const char* kTag = "bool";
    static void write(QZ::utils::IBuffer* buffer, const bool& value)
    {
        const unsigned char byte = value ? 1 : 0;
        buffer->write(&byte, 1, 0);
    }
    // Through a byte: a bool that holds neither 0 nor 1 would be undefined.
    static bool read(QZ::utils::IBuffer* buffer, bool& value)
    {
        unsigned char byte = 0;
        if (buffer->read(&byte, 1, 0) == 0) return false;
        value = byte != 0;
        return true;
    }
};

template <>
struct WireType<DeviceVPNInfo> {
    static constexpr const char* kTag = "DeviceVPNInfo";
    static bool read(QZ::utils::IBuffer* buffer, DeviceVPNInfo& info)
    {
        return WireType<int>::read(buffer, info.status) &&
               QZ::utils::Deserialize(buffer, info.serverIP) != 0 &&
               WireType<int>::read(buffer, info.serverPort) &&
               QZ::utils::Deserialize(buffer, info.deviceName) != 0 &&
               QZ::utils::Deserialize(buffer, info.vpnIP) != 0 &&
               WireType<int>::read(buffer, info.beatInterval);
    }
};
