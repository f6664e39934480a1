#include "tests/support/GoldenTable.h"

#include "support/DevServer.h"
#include "support/MfcConverter.h"
#include "support/OwnerArchive.h"
#include "support/Truncate.h"
#include "tests/support/Bytes.h"
#include "tests/support/GoldenInputs.h"

#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <initializer_list>
#include <utility>

namespace
{

using Strings = std::initializer_list<std::string>;

std::string quoted(const std::string& text)
{
    std::string result = "\"";
    for (char c : text) {
        char piece[8];
        const auto byte = static_cast<unsigned char>(c);
        const bool plain = byte >= 0x20 && byte < 0x7F && byte != '\\' && byte != '"';
        std::snprintf(piece, sizeof piece, plain ? "%c" : "\\x%02X", byte);
        result += piece;
    }
    return result + '"';
}

std::string hex(const unsigned char* bytes, int count)
{
    std::string result;
    for (int i = 0; i < count; ++i) {
        char piece[4];
        std::snprintf(piece, sizeof piece, "%02X", static_cast<unsigned int>(bytes[i]));
        result += piece;
    }
    return result.empty() ? "none" : result;
}

std::string hex(const CByteArray& bytes) { return hex(bytes.GetData(), bytes.GetSize()); }

std::string bits(double value)
{
    std::uint64_t pattern = 0;
    std::memcpy(&pattern, &value, sizeof pattern);
    char text[20];
    std::snprintf(text, sizeof text, "%016" PRIX64, pattern);
    return text;
}

std::string bits(float value)
{
    std::uint32_t pattern = 0;
    std::memcpy(&pattern, &value, sizeof pattern);
    char text[12];
    std::snprintf(text, sizeof text, "%08" PRIX32, pattern);
    return text;
}

// What an operator writes.
template <class T>
std::string stored(T value)
{
    COwnerArchive archive(ARCHIVE_STORING);
    archive << value;
    CByteArray bytes;
    bytes.SetSize(archive.SvrGetBufferSize());
    archive.SvrSeekToBegin();
    archive.SvrRead(bytes);
    return hex(bytes);
}

// What an operator reads from a pattern of 4 bytes, given twice for the wide types.
template <class T>
T loaded(std::uint32_t pattern)
{
    COwnerArchive archive(static_cast<ARCHIVESTATUS>(2));
    archive << pattern << pattern;
    archive.SvrChangeMode(ARCHIVE_LOADING);
    archive.SvrSeekToBegin();
    T value{};
    archive >> value;
    return value;
}

class Table
{
public:
    void add(const std::string& operation, const std::string& arguments, Strings results)
    {
        m_rows.push_back(operation + ' ' + arguments + " =");
        for (const std::string& result : results) extend(result);
    }
    void add(const std::string& operation, const std::string& arguments, int result)
    {
        add(operation, arguments, {std::to_string(result)});
    }
    // One more result of the last row.
    void extend(const std::string& result) { m_rows.back() += ' ' + result; }

    std::vector<std::string> take() { return std::move(m_rows); }

private:
    std::vector<std::string> m_rows;
};

void addNumber(Table& table, double value)
{
    const std::string name = bits(value);
    table.add("truncToInt", name, truncToInt(value));
    table.add("Double2Int", name, CDevServer::Double2Int(value));
    table.add("archive<<double,float", name, {stored(value), stored(static_cast<float>(value))});
    ByteArray set{0x00};
    CDevServer::SvrSetByteBit(set, value, 3);
    table.add("SvrSetByteBit(3)", name, {hex(set)});
    for (int unit : {0, 2}) {
        table.add("SvrDouble2Str(80..89,unit" + std::to_string(unit) + ')', name, {});
        for (int type = 80; type <= 89; ++type) {
            table.extend(quoted(textOf(CDevServer::SvrDouble2Str(value, type, unit, 0))));
        }
    }
    table.add("SvrDouble2Str(100)", name, {});
    for (int decimals : {-1, 2, 20}) {
        table.extend(quoted(textOf(CDevServer::SvrDouble2Str(value, 100, decimals, 30))));
    }
}

void addPattern(Table& table, std::uint32_t pattern)
{
    const auto number = static_cast<std::int32_t>(pattern);
    const std::string name = std::to_string(pattern);
    table.add("archive<<int,long,unsigned", name,
              {stored(number), stored(static_cast<long>(number)), stored(pattern)});
    table.add("archive<<short,char,byte,bool", name,
              {stored(static_cast<unsigned short>(pattern)), stored(static_cast<char>(pattern)),
               stored(static_cast<unsigned char>(pattern)), stored(pattern != 0)});
    table.add("archive>>int,long,unsigned", name,
              {std::to_string(loaded<int>(pattern)), std::to_string(loaded<long>(pattern)),
               std::to_string(loaded<unsigned int>(pattern))});
    table.add("archive>>short,char,byte,bool", name,
              {std::to_string(loaded<unsigned short>(pattern)),
               std::to_string(static_cast<unsigned char>(loaded<char>(pattern))),
               std::to_string(loaded<unsigned char>(pattern)),
               std::to_string(loaded<bool>(pattern) ? 1 : 0)});
    table.add("archive>>float,double", name,
              {bits(loaded<float>(pattern)), bits(loaded<double>(pattern))});
    table.add("SvrSetByteBit(0,7,8,15,16,17,31,32,-1)", name, {});
    for (int bit : {0, 7, 8, 15, 16, 17, 31, 32, -1}) {
        ByteArray bytes{0x55, 0xAA, 0x00, 0xFF};
        const int result = CDevServer::SvrSetByteBit(bytes, number, bit);
        table.extend(std::to_string(result) + ':' + hex(bytes));
    }
}

void addText(Table& table, const std::string& raw)
{
    const MfcConverter& converter = MfcConverter::GetInstance();
    const std::string name = quoted(raw);
    CString text(raw.data(), static_cast<int>(raw.size()));
    int strict = 77;
    const bool accepted = converter.ConvertToInt(raw, strict);
    table.add("ConvertToInt", name, {accepted ? std::to_string(strict) : "refused"});
    table.add("cstringToNumeric(d,u,ld,x,X,o,f,lf,s)", name, {});
    for (const char* format : {"%d", "%u", "%ld", "%x", "%X", "%o", "%f", "%lf", "%s"}) {
        unsigned char target[8];
        std::memset(target, 0xA5, sizeof target);
        converter.cstringToNumeric(text, format, target);
        table.extend(hex(target, sizeof target));
    }
    for (int unit : {0, 2, 3}) {
        table.add("SvrStr2Double(0,7,15,80..89,unit" + std::to_string(unit) + ')', name, {});
        for (int type : {0, 7, 15, 80, 81, 82, 83, 84, 85, 86, 87, 88, 89}) {
            table.extend(bits(CDevServer::SvrStr2Double(text, type, unit, 2)));
        }
    }
    table.add("SvrStr2Double(100)", name,
              {bits(CDevServer::SvrStr2Double(text, 100, 0, text.GetLength()))});
    table.add("archive<<text", name, {stored<CString&>(text)});
    CByteArray bytes;
    const int result = CDevServer::SvrHStr2HByte(text, bytes);
    table.add("SvrHStr2HByte", name, {std::to_string(result), hex(bytes)});
    CDevServer::SvrStr2Byte(text, bytes);
    CString digits;
    CDevServer::SvrHByte2HStr(bytes, digits);
    CDevServer::SvrChangeStrIncode(bytes, 0);
    table.add("SvrHByte2HStr,SvrChangeStrIncode", name, {quoted(textOf(digits)), hex(bytes)});
}

// How much a failed conversion leaves in its output is not compared: that is libc's affair.
void addToBytes(Table& table, const char* name, int (*operation)(CString&, CByteArray&),
                const std::string& raw)
{
    CString text(raw.data(), static_cast<int>(raw.size()));
    CByteArray out;
    const int result = operation(text, out);
    table.add(name, quoted(raw), result);
    if (result != 0) table.extend(hex(out));
}

void addToText(Table& table, const char* name, int (*operation)(CByteArray&, CString&),
               const Bytes& raw)
{
    CByteArray in;
    fill(in, raw);
    const std::string before = hex(in);
    CString out;
    const int result = operation(in, out);
    table.add(name, before, {std::to_string(result), hex(in)});
    if (result != 0) table.extend(quoted(textOf(out)));
}

}  // namespace

std::vector<std::string> goldenTable()
{
    Table table;
    for (double value : kNumbers) addNumber(table, value);
    for (std::uint32_t pattern : kPatterns) addPattern(table, pattern);
    for (const std::string& text : kTexts) addText(table, text);
    for (const std::string& text : kUtf8Texts) {
        addToBytes(table, "SvrStr2ASCII", CDevServer::SvrStr2ASCII, text);
        addToBytes(table, "SvrStr2Unicode", CDevServer::SvrStr2Unicode, text);
    }
    for (const Bytes& bytes : kGbkBytes) {
        addToText(table, "SvrASCII2Str", CDevServer::SvrASCII2Str, bytes);
    }
    for (const Bytes& bytes : kUnicodeBytes) {
        addToText(table, "SvrUnicode2Str", CDevServer::SvrUnicode2Str, bytes);
    }
    return table.take();
}
