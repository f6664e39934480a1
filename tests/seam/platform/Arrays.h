#pragma once

#include "platform/CString.h"

#include <algorithm>

// Root of the classes, as the array classes of old have one: it puts a table of virtual
// functions in front of the members.
class CObject
{
public:
    virtual ~CObject() = default;
};

// Storage and sizes of one array. Only what the driver uses.
template <class T>
class CArrayOf : public CObject
{
public:
    CArrayOf() = default;
    ~CArrayOf() override { delete[] m_pData; }
    CArrayOf(const CArrayOf&) = delete;
    CArrayOf& operator=(const CArrayOf&) = delete;

    int GetSize() const { return m_nSize; }
    bool IsEmpty() const { return m_nSize == 0; }
    void RemoveAll()
    {
        delete[] m_pData;
        m_pData = nullptr;
        m_nSize = m_nMaxSize = 0;
    }

    void SetSize(int size, int growBy = -1)
    {
        if (growBy >= 0) m_nGrowBy = growBy;
        if (size > m_nMaxSize) {
            const int capacity = size + (m_nMaxSize > 0 ? m_nGrowBy : 0);
            T* data = new T[capacity]();
            if (m_pData != nullptr) std::copy_n(m_pData, m_nSize, data);
            delete[] m_pData;
            m_pData = data;
            m_nMaxSize = capacity;
        }
        // What comes back after a shrink is empty.
        for (int i = size < 0 ? 0 : size; i < m_nSize; ++i) m_pData[i] = T();
        m_nSize = size < 0 ? 0 : size;
    }

    const T& operator[](int index) const { return m_pData[index]; }
    T& operator[](int index) { return m_pData[index]; }
    T& ElementAt(int index) { return m_pData[index]; }
    T* GetData() { return m_pData; }

protected:
    T* m_pData = nullptr;
    int m_nSize = 0;
    int m_nMaxSize = 0;
    int m_nGrowBy = 0;
};

template <class T, class ARG>
class CArray : public CArrayOf<T>
{
};

// Classes of their own, not other names for the template.
class CStringArray : public CArrayOf<CString>
{
};

class CByteArray : public CArrayOf<unsigned char>
{
public:
    void SetAtGrow(int index, unsigned char value)
    {
        if (index >= m_nSize) SetSize(index + 1);
        m_pData[index] = value;
    }
    void InsertAt(int index, unsigned char value, int count)
    {
        const int behind = m_nSize > index ? m_nSize - index : 0;
        SetSize(index + behind + count);
        for (int i = behind - 1; i >= 0; --i) m_pData[index + count + i] = m_pData[index + i];
        for (int i = 0; i < count; ++i) m_pData[index + i] = value;
    }
};
