#!/usr/bin/env python3
"""Writes tests/data/numbers/cases.txt: operations on big numbers with their results, one a line,
worked out with Python's own integers and decimals.

A line holds the operation, its arguments and its results. A text stands between bars, with percent
escapes; "!" and a text is the failure with that description. A decimal is its unscaled value, "e"
and the exponent of ten, which is the scale with the other sign.
"""

import decimal
import fractions
import random
import urllib.parse

COMMAND = "tools/gen/number_cases.py"
DIGITS = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ"

decimal.setcontext(
    decimal.Context(prec=100000, Emax=decimal.MAX_EMAX, Emin=decimal.MIN_EMIN, traps=[])
)
rng = random.Random(20240611)


class Failure(Exception):
    pass


def text(units):
    return "|" + urllib.parse.quote(units, safe="+.") + "|"


def emit(operation, *fields):
    print(operation, *fields)


def result(function, *arguments):
    """What the function gives, as fields of a line."""
    try:
        value = function(*arguments)
    except Failure as failure:
        return ["!" + text(str(failure))]
    return list(value) if isinstance(value, tuple) else [value]


# --- integers ---


def string_to_long(group, radix):
    """White space, a sign, in radix 16 "0x", then digits up to the first other character."""
    group = group.split("\0")[0].lstrip(" \t\n\v\f\r")
    if group[:1] == "+":
        group = group[1:]
    if radix == 16 and group[:2].lower() == "0x" and group[2:3].upper() in list(DIGITS[:16]):
        group = group[2:]
    value = 0
    for unit in group:
        digit = DIGITS[:radix].find(unit.upper()) if unit.isascii() else -1
        if digit < 0:
            break
        value = value * radix + digit
    return value


def parse(units, radix):
    if "-" in units[1:]:
        raise Failure("Number Format Exception")
    negative = units[:1] == "-"
    digits = units[1:] if negative else units
    if not digits:
        raise Failure("Number Format Exception")
    digits = digits.lstrip("0")
    first = len(digits) % 3
    value = string_to_long(digits[:first] or "0", radix)
    for at in range(first, len(digits), 3):
        value = value * radix**3 + string_to_long(digits[at : at + 3], radix)
    return -value if negative else value


def in_radix(value, radix):
    digits = ""
    rest = abs(value)
    while rest:
        rest, digit = divmod(rest, radix)
        digits = DIGITS[digit] + digits
    return ("-" if value < 0 else "") + (digits or "0")


def divide(a, b):
    if b == 0:
        raise Failure("Divide by zero.")
    quotient, remainder = divmod(abs(a), abs(b))
    return (-quotient if (a < 0) != (b < 0) else quotient), remainder


def modulo(a, m):
    if m == 0:
        raise Failure("Divide by zero.")
    if m < 0:
        raise Failure("Modulus can't be negative.")
    return a % m


def power(a, e):
    if e < 0:
        raise Failure("Negative Exponent")
    return a**e


def inverse(a, m):
    modulo(a, m)
    try:
        return pow(a, -1, m)
    except ValueError:
        raise Failure("Not invertible.") from None


def power_modulo(a, e, m):
    modulo(a, m)
    return pow(a, e, m) if e >= 0 else pow(inverse(a, m), -e, m)


def common_divisor(a, b):
    """Euclid's algorithm; the last divisor with its sign."""
    while True:
        remainder = divide(a, b)[1]
        if remainder == 0:
            return b
        a, b = b, remainder


def to_int64(a):
    low = abs(a) & (2**63 - 1)
    return -low if a < 0 else low


EDGES = sorted(
    {s * (2**bits + d) for bits in (0, 1, 7, 8, 16, 31, 32, 63, 64, 65, 127, 128, 192)
     for d in (-1, 0, 1) for s in (-1, 1)}
)


def integer(max_bits=None):
    """Mostly small, often at the edge of a limb, now and then long."""
    kind = rng.random()
    if max_bits is None:
        if kind < 0.25:
            return rng.choice(EDGES)
        max_bits = 16 if kind < 0.35 else 64 if kind < 0.6 else 180 if kind < 0.98 else 1000
    bits = rng.randrange(max_bits + 1)
    shape = rng.random()
    if shape < 0.15:
        value = (1 << bits) - 1
    elif shape < 0.3:
        value = 1 << bits
    elif shape < 0.4:  # long runs of equal bits
        value = ((1 << bits) - 1) ^ ((1 << rng.randrange(bits + 1)) - 1)
    else:
        value = rng.getrandbits(bits) if bits else 0
    return -value if rng.random() < 0.4 else value


def some_text(radix):
    """A number, mostly with something wrong."""
    digits = "".join(rng.choice(DIGITS[:radix]) for _ in range(rng.randrange(9)))
    digits = rng.choice([digits, digits.lower()])
    for _ in range(rng.choice([0, 1, 1, 2])):
        at = rng.randrange(len(digits) + 1)
        odd = rng.choice(["+", "-", " ", "\t", "\0", "0x", "0", "00", "z", ".", "\u0661", "\u0141"])
        digits = digits[:at] + odd + digits[at:]
    return rng.choice(["", "", "-", "0", "+"]) + digits


def integer_cases():
    for units in ("", "-", "--1", "0", "000", "-0", "-000", "1-2", "+5", "-+5", "12a", "+", "1000000"):
        emit("parse", text(units), 10, *result(parse, units, 10))
    for _ in range(400):
        radix = rng.choice([2, 3, 8, 10, 10, 10, 16, 16, 35, 36])
        units = some_text(radix)
        emit("parse", text(units), radix, *result(parse, units, radix))
    for radix in range(2, 37):
        for _ in range(5):
            value = integer(250)
            units = in_radix(value, radix)
            emit("print", value, radix, text(units))
            emit("parse", text(units), radix, value)

    for name, function in (
        ("add", lambda a, b: a + b),
        ("subtract", lambda a, b: a - b),
        ("multiply", lambda a, b: a * b),
        ("divide", divide),
        ("mod", modulo),
        ("gcd", common_divisor),
        ("compare", lambda a, b: (a > b) - (a < b)),
    ):
        for _ in range(120):
            a, b = integer(), integer()
            if rng.random() < 0.1:
                b = rng.choice([a, -a, a + 1, 0])
            if name == "gcd" and rng.random() < 0.5:
                common = integer(64)
                a, b = a * common, b * common
            if name in ("divide", "mod") and rng.random() < 0.3:  # at the edge of a multiple
                a = b * integer(64) + rng.choice([-1, 0, 1])
            emit(name, a, b, *result(function, a, b))

    for _ in range(100):
        a, e = integer(80), rng.choice([-1, 0, 1, 2, 3, 5, 7, 8, 16, rng.randrange(40)])
        emit("pow", a, e, *result(power, a, e))
    for _ in range(120):
        a, m = integer(), integer()
        emit("modInverse", a, m, *result(inverse, a, m))
        a, e, m = integer(160), integer(160), integer(160)
        emit("modPow", a, e, m, *result(power_modulo, a, e, m))
    for _ in range(100):
        a, n = integer(200), rng.randrange(260)
        sign = -1 if a < 0 else 1
        emit("setBit", a, n, sign * (abs(a) | 1 << n))
        emit("clearBit", a, n, sign * (abs(a) & ~(1 << n)))
        emit("shiftLeft", a, n, a << n)
        emit("shiftRight", a, n, sign * (abs(a) >> n))
        a = integer()
        emit("toInt64", a, to_int64(a))
        emit("bitCount", a, abs(a).bit_length())


# --- decimals ---


class Decimal:
    """An unscaled value and a scale."""

    def __init__(self, unscaled, scale):
        self.unscaled, self.scale = unscaled, scale

    def __str__(self):
        return f"{self.unscaled}e{-self.scale}"

    def value(self):
        return decimal.Decimal(self.unscaled).scaleb(-self.scale)

    def fraction(self):
        return fractions.Fraction(self.unscaled) * fractions.Fraction(10) ** -self.scale

    def text(self):
        digits = str(abs(self.unscaled))
        if self.scale > 0:
            digits = digits.rjust(self.scale + 1, "0")
            digits = digits[: -self.scale] + "." + digits[-self.scale :]
        return ("-" if self.unscaled < 0 else "") + digits


def of_value(value):
    sign, digits, exponent = value.as_tuple()
    unscaled = int("".join(map(str, digits)))
    return Decimal(-unscaled if sign else unscaled, -exponent)


def of_text(units):
    if "." not in units:
        return Decimal(parse(units, 10), 0)
    whole, fraction = units.split(".", 1)
    fraction = fraction.rstrip("0") or fraction[:1]
    return Decimal(parse(whole + fraction, 10), len(fraction))


def rescaled(a, scale):
    quotient = abs(a.fraction()) * 10**scale if scale >= 0 else abs(a.fraction()) / 10**-scale
    unscaled = quotient.numerator // quotient.denominator
    return Decimal(-unscaled if a.unscaled < 0 else unscaled, scale)


def quotient(a, b, scale):
    """Rounded half away from zero."""
    if b.unscaled == 0:
        raise Failure("Divide by zero.")
    exact = a.fraction() / b.fraction() * fractions.Fraction(10) ** scale
    unscaled = (2 * abs(exact.numerator) + exact.denominator) // (2 * exact.denominator)
    return Decimal(-unscaled if exact < 0 else unscaled, scale)


def some_decimal():
    return Decimal(integer(rng.choice([16, 64, 200])), rng.choice([0, 1, 2, 2, 3, 6, 20, 40, -1, -5]))


def decimal_cases():
    for units in ("", "-", ".", "-.", "1", "1.", ".5", "-.5", ".-5", "1.-5", "1.2500", "0.000", "12.",
                  "-0.0", "1.2.3", "1e5", "0.050", "+1.5", " 1.5", "100.00100", "007.70"):
        emit("decimalParse", text(units), *result(of_text, units))
    for _ in range(120):
        units = some_text(10)
        at = rng.randrange(len(units) + 1)
        units = units[:at] + "." + units[at:] + rng.choice(["", "0", "000"])
        emit("decimalParse", text(units), *result(of_text, units))
    for _ in range(120):
        a, b = some_decimal(), some_decimal()
        if rng.random() < 0.1:
            b = rescaled(a, a.scale + rng.randrange(5))
        emit("decimalPrint", a, text(a.text()))
        emit("decimalAdd", a, b, of_value(a.value() + b.value()))
        emit("decimalSubtract", a, b, of_value(a.value() - b.value()))
        emit("decimalMultiply", a, b, of_value(a.value() * b.value()))
        emit("decimalCompare", a, b, int(a.value().compare(b.value())))
        scale = rng.choice([0, 1, 2, 5, 30, -2])
        emit("decimalDivide", a, b, scale, *result(quotient, a, b, scale))
        emit("decimalScale", a, scale, rescaled(a, scale))
        emit("decimalToInteger", a, rescaled(a, 0).unscaled)
        emit("decimalToDouble", a, float(a.text()).hex())
    for _ in range(100):  # ties and their neighbours
        b, scale = Decimal(2 * integer(40), rng.randrange(4)), rng.randrange(4)
        a = of_value((Decimal(2 * integer(40) + 1, scale).value() / 2) * b.value())
        a.unscaled += rng.choice([-1, 0, 0, 1])
        emit("decimalDivide", a, b, scale, *result(quotient, a, b, scale))
    for _ in range(80):
        value = rng.choice([rng.uniform(-10, 10), rng.gauss(0, 1e6), rng.randrange(-999, 999) / 64,
                            rng.uniform(-1, 1) * 10 ** rng.randrange(-8, 40)])
        emit("decimalOfDouble", value.hex(), of_text("%f" % value))


print(f"# Made by: {COMMAND}")
integer_cases()
decimal_cases()
