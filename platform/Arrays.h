#pragma once

#include "platform/CString.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <utility>

// The runtime's growable array. Sizes and indexes are int. New elements are
// value-initialised (zero, empty), also those that reappear after a shrink.
// ARG is the type in which elements are handed in.
// Growing moves the elements; what cannot be allocated leaves as
// std::bad_alloc with the array unchanged.
template <class T, class ARG = const T&>
class CArray
{
public:
    CArray() = default;
    CArray(const CArray&) = delete;
    CArray& operator=(const CArray&) = delete;

    int GetSize() const { return m_size; }
    int GetUpperBound() const { return m_size - 1; }
    bool IsEmpty() const { return m_size == 0; }

    // Makes the array exactly newSize elements long; newSize < 0 counts as 0.
    // Size 0 gives the storage back. growBy >= 0 sets the grow step; -1 keeps it.
    // When storage must grow it grows to the larger of newSize and capacity +
    // step, where a step of 0 means an eighth of the size, at least 4, at most 1024.
    void SetSize(int newSize, int growBy = -1);
    void RemoveAll() { SetSize(0); }

    // Reading and writing by index; index must be within the size.
    const T& GetAt(int index) const { return m_data[at(index)]; }
    T& ElementAt(int index) { return m_data[at(index)]; }
    void SetAt(int index, ARG value) { m_data[at(index)] = value; }
    const T& operator[](int index) const { return m_data[at(index)]; }
    T& operator[](int index) { return m_data[at(index)]; }

    // Sets the element, growing the array up to it. index must not be negative.
    void SetAtGrow(int index, ARG value);
    // Appends; returns the new element's index.
    int Add(ARG value);
    // Inserts count copies before index, growing the array when index lies behind its end.
    void InsertAt(int index, ARG value, int count = 1);

    // The elements, contiguous; null while the array is empty. Valid until the size changes.
    const T* GetData() const { return m_data.get(); }
    T* GetData() { return m_data.get(); }

private:
    static std::size_t at(int index) { return static_cast<std::size_t>(index); }
    void reserve(int wanted);

    std::unique_ptr<T[]> m_data;
    int m_size = 0;
    int m_capacity = 0;
    int m_growBy = 0;
};

using CByteArray = CArray<unsigned char, unsigned char>;
using CStringArray = CArray<CString, const CString&>;

template <class T, class ARG>
void CArray<T, ARG>::reserve(int wanted)
{
    if (wanted <= m_capacity) return;
    const std::int64_t step = m_growBy > 0 ? m_growBy : std::clamp(m_size / 8, 4, 1024);
    // A first allocation takes just what is asked for.
    const std::int64_t stepped = m_capacity == 0 ? wanted : m_capacity + step;
    const int capacity = static_cast<int>(
        std::clamp<std::int64_t>(stepped, wanted, std::max<std::int64_t>(wanted, INT32_MAX)));
    auto data = std::make_unique<T[]>(static_cast<std::size_t>(capacity));
    std::move(m_data.get(), m_data.get() + m_size, data.get());
    m_data = std::move(data);
    m_capacity = capacity;
}

template <class T, class ARG>
void CArray<T, ARG>::SetSize(int newSize, int growBy)
{
    if (growBy >= 0) m_growBy = growBy;
    if (newSize <= 0) {
        m_data.reset();
        m_size = m_capacity = 0;
        return;
    }
    reserve(newSize);
    // What lies behind the old or the new size is set back, so it is empty when it reappears.
    std::fill(m_data.get() + std::min(m_size, newSize), m_data.get() + std::max(m_size, newSize),
              T());
    m_size = newSize;
}

template <class T, class ARG>
void CArray<T, ARG>::SetAtGrow(int index, ARG value)
{
    if (index >= m_size) {
        T copy(value);  // value may be an element of this array
        SetSize(index + 1);
        m_data[at(index)] = std::move(copy);
        return;
    }
    m_data[at(index)] = value;
}

template <class T, class ARG>
int CArray<T, ARG>::Add(ARG value)
{
    SetAtGrow(m_size, value);
    return m_size - 1;
}

template <class T, class ARG>
void CArray<T, ARG>::InsertAt(int index, ARG value, int count)
{
    if (count < 1) return;
    const T copy(value);
    const int oldSize = m_size;
    SetSize(std::max(index, oldSize) + count);
    if (index < oldSize) {
        std::move_backward(m_data.get() + index, m_data.get() + oldSize,
                           m_data.get() + oldSize + count);
    }
    std::fill_n(m_data.get() + index, count, copy);
}
