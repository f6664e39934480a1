#pragma once

#include "platform/Arrays.h"
#include "platform/CString.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

// Byte arrays and texts in a form that tests can compare and print.

using Bytes = std::vector<int>;

inline Bytes bytesOf(const CByteArray& array)
{
    return Bytes(array.GetData(), array.GetData() + array.GetSize());
}

inline Bytes bytesOf(std::string_view text)
{
    Bytes bytes;
    for (char c : text) bytes.push_back(static_cast<unsigned char>(c));
    return bytes;
}

// All of a text, zero bytes included.
inline std::string textOf(const CString& text)
{
    return std::string(static_cast<const char*>(text), static_cast<std::size_t>(text.GetLength()));
}

inline void fill(CByteArray& array, const Bytes& bytes)
{
    array.SetSize(static_cast<int>(bytes.size()));
    for (int i = 0; i < array.GetSize(); ++i) {
        array[i] = static_cast<unsigned char>(bytes[static_cast<std::size_t>(i)]);
    }
}

// A byte array that is filled at once; CByteArray itself cannot be copied.
struct ByteArray : CByteArray {
    ByteArray(std::initializer_list<int> bytes) { fill(*this, Bytes(bytes)); }
};
