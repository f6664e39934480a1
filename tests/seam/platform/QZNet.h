#pragma once

namespace QZ::Net
{

// Both texts in the object itself, cut where they do not fit.
class Exception
{
public:
    Exception(const char* func, const char* info);
    virtual ~Exception() = default;
    Exception(const Exception&) = default;
    Exception& operator=(const Exception&) = default;

    const char* func() const { return m_func; }
    const char* info() const { return m_info; }

private:
    char m_info[192];
    char m_func[64];
};

// The text, as it was given.
class Address
{
public:
    Address(const char* text);
    const char* text() const { return m_text; }

private:
    char m_text[64];
};

// Nothing of it is called by the driver.
class IClientFactory
{
public:
    virtual const char* scheme() const = 0;
    virtual bool reaches(const Address& address) = 0;
    virtual void forget() = 0;
    virtual ~IClientFactory() = default;
};

class TCPClient
{
public:
    static IClientFactory* NewFactory();
};

}  // namespace QZ::Net
