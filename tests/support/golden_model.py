#!/usr/bin/env python3
"""A second opinion on golden_conversions.txt: takes the inputs from each of its lines and
works out the results anew, in whole numbers and fractions, from the rules of the conversions.

    golden_model.py golden_conversions.txt

Prints every line that differs; exit code 1 when there is one.
"""

import re
import sys
from fractions import Fraction

BLANKS = b" \t\n\v\f\r"


# --- Numbers and their bit patterns. A special value is a text: "inf", or "nan" with the
# bits of its fraction. ---

class Format:
    """An IEEE-754 format: bits of the exponent and of the fraction."""

    def __init__(self, exponent_bits, fraction_bits):
        self.fraction_bits = fraction_bits
        self.width = 1 + exponent_bits + fraction_bits
        self.top = (1 << exponent_bits) - 1
        self.bias = self.top >> 1

    def join(self, negative, exponent, fraction):
        return negative << (self.width - 1) | exponent << self.fraction_bits | fraction

    def split(self, pattern):
        fraction = pattern & ((1 << self.fraction_bits) - 1)
        return pattern >> (self.width - 1), pattern >> self.fraction_bits & self.top, fraction

    def value(self, pattern):
        """The number behind a pattern: sign and magnitude."""
        negative, exponent, fraction = self.split(pattern)
        if exponent == self.top:
            return negative, "nan" + format(fraction, "0%db" % self.fraction_bits) if fraction else "inf"
        if exponent:
            fraction |= 1 << self.fraction_bits
        return negative, fraction * Fraction(2) ** (max(exponent, 1) - self.bias - self.fraction_bits)

    def pattern(self, negative, magnitude):
        """The nearest number of this format, the even one of two."""
        if magnitude == "inf":
            return self.join(negative, self.top, 0)
        if isinstance(magnitude, str):
            # The bits keep their places below the point; the first one makes a NaN a quiet one.
            fraction = int(magnitude[3:].ljust(self.fraction_bits, "0")[:self.fraction_bits], 2)
            return self.join(negative, self.top, fraction | 1 << (self.fraction_bits - 1))
        if magnitude == 0:
            return self.join(negative, 0, 0)
        lowest = 1 - self.bias - self.fraction_bits
        power = magnitude.numerator.bit_length() - magnitude.denominator.bit_length()
        power -= magnitude < Fraction(2) ** power
        step = max(power - self.fraction_bits, lowest)
        count = round(magnitude / Fraction(2) ** step)
        # A count that is rounded up to the next power of two carries into the exponent.
        result = count + ((step - lowest) << self.fraction_bits)
        return self.join(negative, 0, min(result, self.top << self.fraction_bits))


SINGLE = Format(8, 23)
DOUBLE = Format(11, 52)


def low_first(pattern, count):
    return (pattern & ((1 << 8 * count) - 1)).to_bytes(count, "little")


def signed(pattern, width):
    pattern &= (1 << width) - 1
    return pattern - (1 << width) if pattern >> (width - 1) else pattern


def limited(pattern, lowest, highest, shift=Fraction(0)):
    """A double plus shift, itself a double, cut to a whole number within the limits."""
    negative, magnitude = DOUBLE.value(pattern)
    if magnitude == "inf":
        return lowest if negative else highest
    if isinstance(magnitude, str):
        return 0
    number = (-magnitude if negative else magnitude) + shift
    _, rounded = DOUBLE.value(DOUBLE.pattern(0, abs(number)))
    whole = rounded.numerator // rounded.denominator
    return max(lowest, min(highest, -whole if number < 0 else whole))


def truncated(pattern):
    return limited(pattern, -(2 ** 31), 2 ** 31 - 1)


def rounded_away(pattern):
    """Above 0 through an unsigned number that is then taken as a signed one."""
    negative, magnitude = DOUBLE.value(pattern)
    if not negative and magnitude != 0:
        return signed(limited(pattern, 0, 2 ** 32 - 1, Fraction(1, 2)), 32)
    return limited(pattern, -(2 ** 31), 2 ** 31 - 1, Fraction(-1, 2))


# --- Text that becomes a number: what C's functions take of it. ---

def c_text(text):
    return text.split(b"\0")[0]


def unsigned64(text, base):
    """strtoull."""
    prefix = b"(?:0[xX](?=[0-9a-fA-F]))?" if base == 16 else b""
    digits = {8: b"[0-7]", 10: b"[0-9]", 16: b"[0-9a-fA-F]"}[base]
    found = re.match(b"[" + BLANKS + b"]*([+-]?)" + prefix + b"(" + digits + b"+)", c_text(text))
    if not found:
        return 0
    number = int(found.group(2), base)
    if number >= 2 ** 64:
        return 2 ** 64 - 1
    return -number % 2 ** 64 if found.group(1) == b"-" else number


FLOATING = re.compile(
    b"[" + BLANKS + b"]*(?P<sign>[+-]?)(?:"
    b"0[xX](?=\\.?[0-9a-fA-F])(?P<hex>[0-9a-fA-F]*\\.?[0-9a-fA-F]*)(?:[pP](?P<two>[+-]?[0-9]+))?"
    b"|(?P<dec>[0-9]+\\.?[0-9]*|\\.[0-9]+)(?:[eE](?P<ten>[+-]?[0-9]+))?"
    b"|(?P<inf>[iI][nN][fF])|(?P<nan>[nN][aA][nN])(?:\\((?P<payload>[0-9]+)\\))?)")


def floating(text, form):
    """strtof or strtod: the pattern."""
    found = FLOATING.match(c_text(text))
    if not found:
        return 0
    negative = int(found["sign"] == b"-")
    if found["inf"]:
        return form.pattern(negative, "inf")
    if found["nan"]:
        return form.pattern(negative, "nan0") | int(found["payload"] or 0)
    base, digits, power = (16, found["hex"], Fraction(2) ** int(found["two"] or 0)) if found["hex"] \
        else (10, found["dec"], Fraction(10) ** int(found["ten"] or 0))
    whole, _, fraction = digits.partition(b".")
    number = Fraction(int(whole + fraction or b"0", base), base ** len(fraction))
    return form.pattern(negative, number * power)


def numeric(text, word):
    """What the format word's parser stores; None for an unknown word."""
    positive = not text.startswith(b"-")
    text = text if positive else text[1:]
    word = word.lower()
    if word in ("%d", "%u", "%ld"):
        value = unsigned64(text, 10)
        return low_first(value if positive else -value, 4)
    if word in ("%x", "%o"):
        return low_first(unsigned64(text, 16 if word == "%x" else 8), 4)
    if word in ("%f", "%lf"):
        form = SINGLE if word == "%f" else DOUBLE
        value = floating(text, form)
        return low_first(value if positive else value ^ 1 << (form.width - 1), form.width // 8)
    return None


def number(text, word):
    return int.from_bytes(numeric(text, word), "little")


# --- Device values. ---

def reversed_by_units(text, count, unit):
    """Pieces from the end on; one that would begin before the text begins with it."""
    pieces = []
    for begin in range(count - unit, -unit, -unit):
        pieces.append(text[max(begin, 0):max(begin, 0) + unit])
    return b"".join(pieces)


def digits_of(code):
    return 2 ** ((code - 80) // 3 + 1)


def device_value(text, code, unit, length):
    """The pattern of the double that a device's text stands for."""
    count = 2 * length if code < 16 else 8 if code == 89 else length if code == 100 else digits_of(code)
    if count > len(text):
        return 0
    text = text[:count]
    if unit > 0:
        text = reversed_by_units(text, count, unit)
    if code == 100:
        return number(text, "%lf")
    if code == 89:
        pattern = 0
        for i in range(0, 8, 2):
            pattern = pattern << 8 | number(text[i:i + 2], "%x") & 0xFF
        return DOUBLE.pattern(*SINGLE.value(pattern))
    if code < 16:
        value = number(text, "%x") >> code & 1
    elif code in (82, 85, 88):
        value = signed(number(text, "%d"), 32)
    else:
        width = 4 * digits_of(code)
        value = number(text, "%X") & ((1 << width) - 1)
        value = signed(value, width) if code in (81, 84, 87) else value
    return DOUBLE.pattern(int(value < 0), Fraction(abs(value)))


def single_of(pattern):
    return SINGLE.pattern(*DOUBLE.value(pattern))


def device_text(pattern, code, unit):
    width = 8 if code == 89 else digits_of(code)
    if code == 89:
        text = "%08x" % single_of(pattern)
    else:
        # Of a number that is printed too wide, only the last digits stay.
        value = rounded_away(pattern)
        if code in (82, 85, 88):
            value = value if code == 88 else value & ((1 << 4 * width) - 1)
            text = ("-" if value < 0 else "") + str(abs(value)).rjust(width, "0")
        else:
            text = "%X" % (value & 0xFFFFFFFF)
            text = text.rjust(width, "0")
    text = text[-width:].encode()
    return reversed_by_units(text, len(text), unit) if unit > 0 else text


def decimal_text(pattern, width, decimals):
    """printf's %*.*f in whole numbers; decimals below 0 count as none."""
    negative, magnitude = DOUBLE.value(pattern)
    if isinstance(magnitude, str):
        text = magnitude[:3]
    else:
        decimals = max(decimals, 0)
        digits = str(round(magnitude * 10 ** decimals)).rjust(decimals + 1, "0")
        text = digits[:-decimals] + "." + digits[-decimals:] if decimals else digits
    return (("-" if negative else "") + text).rjust(width)[-width:].encode()


def with_bit(data, value, bit):
    """A bit above the last is refused, one below the first touches nothing."""
    if bit >= 8 * len(data):
        return 0, data
    data = bytearray(data)
    if bit >= 0:
        data[bit // 8] = data[bit // 8] & ~(1 << bit % 8) | int(value != 0) << bit % 8
    return 1, bytes(data)


# --- Character sets: libc's GB18030 is that of the codec, and so is UTF-16. ---

def converted(data, source, target, room):
    """None when data is not valid or the room too small."""
    try:
        result = data.decode(source).encode(target)
    except UnicodeError:
        return None
    return result if len(result) <= room else None


def to_gb18030(text):
    return converted(text, "utf-8", "gb18030", len(text) + 2 - len(text) % 2)


def to_utf16(text):
    return converted(text + b"\0", "utf-8", "utf-16-le", 4 * (len(text) + 1))


def from_gb18030(data):
    data += b"\0"
    text = converted(data, "gb18030", "utf-8", 2 * len(data))
    return (0 if text is None else len(data)), data, text


def from_utf16(data):
    even = len(data) - len(data) % 2
    ends = data[even:even + 1] == b"\0"
    data = data[:even] + (b"" if ends else b"\0\0")
    text = converted(data, "utf-16-le", "utf-8", 2 * len(data))
    return (0 if text is None else len(c_text(text))), data, text


# --- The lines of the table. ---

def quoted(text):
    plain = range(0x20, 0x7F)
    return '"%s"' % "".join(
        chr(b) if b in plain and chr(b) not in '\\"' else "\\x%02X" % b for b in text)


def unquoted(word):
    return re.sub(rb"\\x(..)", lambda m: bytes([int(m.group(1), 16)]), word[1:-1].encode())


def hexadecimal(data):
    return data.hex().upper() or "none"


def bytes_of(word):
    return b"" if word == "none" else bytes.fromhex(word)


def bits(pattern, width=64):
    return "%0*X" % (width // 4, pattern)


def of_double(function):
    return lambda word: function(int(word, 16))


def of_pattern(function):
    return lambda word: function(int(word))


def of_text(function):
    return lambda word: function(unquoted(word))


def of_bytes(function):
    return lambda word: function(bytes_of(word))


def strict_integer(text):
    if not re.fullmatch(b"[" + BLANKS + b"]*[+-]?[0-9]+", text):
        return ["refused"]
    return [str(max(-(2 ** 31), min(2 ** 31 - 1, int(text))))]


def all_numeric(text):
    stored = [numeric(text, word) or b"" for word in ("%d", "%u", "%ld", "%x", "%X", "%o", "%f", "%lf", "%s")]
    return [hexadecimal(value + b"\xA5" * (8 - len(value))) for value in stored]


def hex_text_to_bytes(text):
    if len(text) == 0 or len(text) % 2:
        return ["0", "none"]
    pieces = [number(text[i:i + 2], "%x") & 0xFF for i in range(0, len(text), 2)]
    return ["1", hexadecimal(bytes(pieces))]


def swapped(text):
    even = text + b"\0" * (len(text) % 2)
    pairs = [even[i + 1:i + 2] + even[i:i + 1] for i in range(0, len(even), 2)]
    return [quoted(text.hex().upper().encode()), hexadecimal(b"".join(pairs))]


def archived_text(text):
    text = c_text(text)
    return [hexadecimal(low_first(len(text), 4) + text)]


def some_bits(pattern):
    results = [with_bit(bytes.fromhex("55AA00FF"), signed(pattern, 32), bit)
               for bit in (0, 7, 8, 15, 16, 17, 31, 32, -1)]
    return ["%d:%s" % (status, hexadecimal(data)) for status, data in results]


def made_bytes(function):
    def results(text):
        made = function(text)
        return [str(len(made)), hexadecimal(made)] if made else ["0"]
    return results


def made_text(function):
    def results(data):
        status, left, text = function(data)
        return [str(status), hexadecimal(left)] + ([quoted(c_text(text))] if status else [])
    return results


CODES = (0, 7, 15, *range(80, 90))
OPERATIONS = {
    "truncToInt": of_double(lambda p: [str(truncated(p))]),
    "Double2Int": of_double(lambda p: [str(rounded_away(p))]),
    "archive<<double,float": of_double(
        lambda p: [hexadecimal(low_first(p, 8)), hexadecimal(low_first(single_of(p), 4))]),
    "SvrSetByteBit(3)": of_double(lambda p: [hexadecimal(with_bit(b"\0", truncated(p), 3)[1])]),
    "SvrDouble2Str(80..89,unit0)": of_double(
        lambda p: [quoted(device_text(p, code, 0)) for code in range(80, 90)]),
    "SvrDouble2Str(80..89,unit2)": of_double(
        lambda p: [quoted(device_text(p, code, 2)) for code in range(80, 90)]),
    "SvrDouble2Str(100)": of_double(
        lambda p: [quoted(decimal_text(p, 30, decimals)) for decimals in (-1, 2, 20)]),
    "archive<<int,long,unsigned": of_pattern(lambda p: [hexadecimal(low_first(p, 4))] * 3),
    "archive<<short,char,byte,bool": of_pattern(
        lambda p: [hexadecimal(low_first(v, n)) for v, n in ((p, 2), (p, 1), (p, 1), (p != 0, 1))]),
    "archive>>int,long,unsigned": of_pattern(
        lambda p: [str(signed(p, 32)), str(signed(p, 32)), str(p)]),
    "archive>>short,char,byte,bool": of_pattern(
        lambda p: [str(p & 0xFFFF), str(p & 0xFF), str(p & 0xFF), str(int(p & 0xFF == 1))]),
    "archive>>float,double": of_pattern(lambda p: [bits(p, 32), bits(p << 32 | p)]),
    "SvrSetByteBit(0,7,8,15,16,17,31,32,-1)": of_pattern(some_bits),
    "ConvertToInt": of_text(strict_integer),
    "cstringToNumeric(d,u,ld,x,X,o,f,lf,s)": of_text(all_numeric),
    "SvrStr2Double(0,7,15,80..89,unit0)": of_text(
        lambda t: [bits(device_value(t, code, 0, 2)) for code in CODES]),
    "SvrStr2Double(0,7,15,80..89,unit2)": of_text(
        lambda t: [bits(device_value(t, code, 2, 2)) for code in CODES]),
    "SvrStr2Double(0,7,15,80..89,unit3)": of_text(
        lambda t: [bits(device_value(t, code, 3, 2)) for code in CODES]),
    "SvrStr2Double(100)": of_text(lambda t: [bits(device_value(t, 100, 0, len(t)))]),
    "archive<<text": of_text(archived_text),
    "SvrHStr2HByte": of_text(hex_text_to_bytes),
    "SvrHByte2HStr,SvrChangeStrIncode": of_text(swapped),
    "SvrStr2ASCII": of_text(made_bytes(to_gb18030)),
    "SvrStr2Unicode": of_text(made_bytes(to_utf16)),
    "SvrASCII2Str": of_bytes(made_text(from_gb18030)),
    "SvrUnicode2Str": of_bytes(made_text(from_utf16)),
}


def main():
    with open(sys.argv[1], encoding="ascii", newline="") as file:
        lines = file.read().split("\n")
    unseen = set(OPERATIONS)
    wrong = 0
    if lines.pop() != "":
        print("the last line is cut off")
        wrong += 1
    for count, line in enumerate(lines, 1):
        found = re.match(r'(\S+) ("[^"]*"|\w+) =', line)
        if not found or found.group(1) not in OPERATIONS:
            print("line %d is none that this model knows: %s" % (count, line))
            wrong += 1
            continue
        unseen.discard(found.group(1))
        expected = " ".join([found.group(0), *OPERATIONS[found.group(1)](found.group(2))])
        if line != expected:
            print("line %d\n  table: %s\n  model: %s" % (count, line, expected))
            wrong += 1
    for operation in sorted(unseen):
        print("no line for " + operation)
    print("%d lines, %d wrong" % (len(lines), wrong))
    return 1 if wrong or unseen else 0


if __name__ == "__main__":
    sys.exit(main())
