// The kernels for vector units, once for each of them: the including file says before what a Vector
// is, which holds WORDS 16-bit words in groups of eight that keep to themselves, and what it can
// do. Hence no #pragma once, and an unnamed namespace. The formulas are those of JpegKernels.cpp.

namespace tavolin {

namespace {

/// 13 bits behind the point; the constants are those of the plain kernels, some added up.
constexpr int CONSTANT_BITS = 13;
constexpr int KEPT_BITS = 2;
constexpr int SCALE_BITS = 3;

constexpr std::int16_t fixed(double value)
{
    return static_cast<std::int16_t>(value * (1 << CONSTANT_BITS) + (value < 0 ? -0.5 : 0.5));
}

/// Sums of a vector's words as 32-bit numbers, in two halves.
struct Sums
{
    Vector low;
    Vector high;
};

inline Sums operator+(const Sums &a, const Sums &b)
{
    return {add32(a.low, b.low), add32(a.high, b.high)};
}

inline Sums operator-(const Sums &a, const Sums &b)
{
    return {sub32(a.low, b.low), sub32(a.high, b.high)};
}

/// Words of two vectors side by side, as products take them.
struct Pairs
{
    Vector low;
    Vector high;
};

inline Pairs paired(Vector a, Vector b)
{
    return {low16(a, b), high16(a, b)};
}

/// a·first + b·second.
inline Sums weighted(const Pairs &pairs, std::int16_t first, std::int16_t second)
{
    const Vector weights = pairOf(first, second);
    return {multiplyAdd(pairs.low, weights), multiplyAdd(pairs.high, weights)};
}

/// Words times 1 << BITS.
template <int BITS>
inline Sums raised(Vector words)
{
    return {right32<16 - BITS>(low16(zero(), words)), right32<16 - BITS>(high16(zero(), words))};
}

template <int BITS>
inline Vector rounded(Vector sums)
{
    return right32<BITS>(add32(sums, all32(1 << (BITS - 1))));
}

template <int BITS>
inline Vector narrowed(const Sums &sums)
{
    return limited32(rounded<BITS>(sums.low), rounded<BITS>(sums.high));
}

/// One direction of the transform to eight, in place.
template <int BITS>
inline void eight(Vector (&v)[8])
{
    const Sums even0 = raised<CONSTANT_BITS>(add16(v[0], v[4]));
    const Sums even1 = raised<CONSTANT_BITS>(sub16(v[0], v[4]));
    const Pairs inner = paired(v[2], v[6]);
    const Sums even2 = weighted(inner, fixed(0.541196100), fixed(0.541196100) - fixed(1.847759065));
    const Sums even3 = weighted(inner, fixed(0.541196100) + fixed(0.765366865), fixed(0.541196100));

    const Pairs sums = paired(add16(v[7], v[3]), add16(v[5], v[1]));
    const Sums z3 = weighted(sums, fixed(1.175875602) - fixed(1.961570560), fixed(1.175875602));
    const Sums z4 = weighted(sums, fixed(1.175875602), fixed(1.175875602) - fixed(0.390180644));
    const Pairs outer = paired(v[7], v[1]);
    const Pairs middle = paired(v[5], v[3]);
    const Sums odd0 =
        weighted(outer, -fixed(0.899976223), fixed(1.501321110) - fixed(0.899976223)) + z4;
    const Sums odd3 =
        weighted(outer, fixed(0.298631336) - fixed(0.899976223), -fixed(0.899976223)) + z3;
    const Sums odd1 =
        weighted(middle, -fixed(2.562915447), fixed(3.072711026) - fixed(2.562915447)) + z3;
    const Sums odd2 =
        weighted(middle, fixed(2.053119869) - fixed(2.562915447), -fixed(2.562915447)) + z4;

    const Sums a = even0 + even3;
    const Sums b = even1 + even2;
    const Sums c = even1 - even2;
    const Sums d = even0 - even3;
    v[0] = narrowed<BITS>(a + odd0);
    v[7] = narrowed<BITS>(a - odd0);
    v[1] = narrowed<BITS>(b + odd1);
    v[6] = narrowed<BITS>(b - odd1);
    v[2] = narrowed<BITS>(c + odd2);
    v[5] = narrowed<BITS>(c - odd2);
    v[3] = narrowed<BITS>(d + odd3);
    v[4] = narrowed<BITS>(d - odd3);
}

/// Rows become columns.
inline void transpose(Vector (&v)[8])
{
    const Vector a0 = low16(v[0], v[1]);
    const Vector a1 = high16(v[0], v[1]);
    const Vector a2 = low16(v[2], v[3]);
    const Vector a3 = high16(v[2], v[3]);
    const Vector a4 = low16(v[4], v[5]);
    const Vector a5 = high16(v[4], v[5]);
    const Vector a6 = low16(v[6], v[7]);
    const Vector a7 = high16(v[6], v[7]);
    const Vector b0 = low32(a0, a2);
    const Vector b1 = high32(a0, a2);
    const Vector b2 = low32(a1, a3);
    const Vector b3 = high32(a1, a3);
    const Vector b4 = low32(a4, a6);
    const Vector b5 = high32(a4, a6);
    const Vector b6 = low32(a5, a7);
    const Vector b7 = high32(a5, a7);
    v[0] = low64(b0, b4);
    v[1] = high64(b0, b4);
    v[2] = low64(b1, b5);
    v[3] = high64(b1, b5);
    v[4] = low64(b2, b6);
    v[5] = high64(b2, b6);
    v[6] = low64(b3, b7);
    v[7] = high64(b3, b7);
}

void transform8(const std::int16_t *rows, std::uint8_t *out, std::ptrdiff_t stride)
{
    for (int block = 0; block < PAIR_WIDTH; block += WORDS, rows += WORDS, out += WORDS) {
        Vector v[8];
        for (int i = 0; i < 8; ++i)
            v[i] = loadWords(rows + i * PAIR_WIDTH);
        eight<CONSTANT_BITS - KEPT_BITS>(v);
        transpose(v);
        eight<CONSTANT_BITS + KEPT_BITS + SCALE_BITS>(v);
        // Columns become rows, as bytes.
        const Vector even0 = limited16(v[0], v[2]);
        const Vector odd0 = limited16(v[1], v[3]);
        const Vector even1 = limited16(v[4], v[6]);
        const Vector odd1 = limited16(v[5], v[7]);
        const Vector a = low8(even0, odd0);
        const Vector b = high8(even0, odd0);
        const Vector c = low8(even1, odd1);
        const Vector d = high8(even1, odd1);
        const Vector left0 = low16(a, b);
        const Vector left1 = high16(a, b);
        const Vector right0 = low16(c, d);
        const Vector right1 = high16(c, d);
        storeTwoRows(centred(low32(left0, right0)), out, stride);
        storeTwoRows(centred(high32(left0, right0)), out + 2 * stride, stride);
        storeTwoRows(centred(low32(left1, right1)), out + 4 * stride, stride);
        storeTwoRows(centred(high32(left1, right1)), out + 6 * stride, stride);
    }
}

/// What the transform to four makes of its even coefficients and its odd ones.
struct Quarter
{
    Vector high; // of the even: first and last
    Vector low;  // second and third
    Vector outer;
    Vector inner;
};

inline Quarter quarter(Vector dc, Vector pair26, Vector pair75, Vector pair31)
{
    const Vector turned = multiplyAdd(pair26, pairOf(fixed(1.847759065), -fixed(0.765366865)));
    return {add32(dc, turned), sub32(dc, turned),
            add32(multiplyAdd(pair75, pairOf(-fixed(0.509795579), -fixed(0.601344887))),
                  multiplyAdd(pair31, pairOf(fixed(0.899976223), fixed(2.562915447)))),
            add32(multiplyAdd(pair75, pairOf(-fixed(0.211164243), fixed(1.451774981))),
                  multiplyAdd(pair31, pairOf(-fixed(2.172734803), fixed(1.061594337))))};
}

/// Four rows of four bytes of each group's block.
inline Vector fourByFour(const std::int16_t *rows)
{
    constexpr int BITS = CONSTANT_BITS - KEPT_BITS + 1;
    const auto row = [rows](int i) { return loadWords(rows + i * PAIR_WIDTH); };
    const Sums dc = raised<CONSTANT_BITS + 1>(row(0));
    const Pairs pair26 = paired(row(2), row(6));
    const Pairs pair75 = paired(row(7), row(5));
    const Pairs pair31 = paired(row(3), row(1));
    const Quarter l = quarter(dc.low, pair26.low, pair75.low, pair31.low);
    const Quarter h = quarter(dc.high, pair26.high, pair75.high, pair31.high);
    const Vector w0 =
        limited32(rounded<BITS>(add32(l.high, l.outer)), rounded<BITS>(add32(h.high, h.outer)));
    const Vector w1 =
        limited32(rounded<BITS>(add32(l.low, l.inner)), rounded<BITS>(add32(h.low, h.inner)));
    const Vector w2 =
        limited32(rounded<BITS>(sub32(l.low, l.inner)), rounded<BITS>(sub32(h.low, h.inner)));
    const Vector w3 =
        limited32(rounded<BITS>(sub32(l.high, l.outer)), rounded<BITS>(sub32(h.high, h.outer)));

    const Vector low01 = low16(w0, w1);
    const Vector low23 = low16(w2, w3);
    const Vector high01 = high16(w0, w1);
    const Vector high23 = high16(w2, w3);
    const Vector columns01 = low32(low01, low23);
    const Vector columns23 = high32(low01, low23);
    const Vector columns45 = low32(high01, high23);
    const Vector columns67 = high32(high01, high23);
    constexpr int LAST_BITS = CONSTANT_BITS + KEPT_BITS + SCALE_BITS + 1;
    const Quarter q = quarter(right32<16 - CONSTANT_BITS - 1>(low16(zero(), columns01)),
                              low16(columns23, columns67), high16(columns67, columns45),
                              high16(columns23, columns01));
    const Vector even = limited32(rounded<LAST_BITS>(add32(q.high, q.outer)),
                                  rounded<LAST_BITS>(sub32(q.low, q.inner)));
    const Vector odd = limited32(rounded<LAST_BITS>(add32(q.low, q.inner)),
                                 rounded<LAST_BITS>(sub32(q.high, q.outer)));
    const Vector left = low16(even, odd);
    const Vector right = high16(even, odd);
    return centred(limited16(low32(left, right), high32(left, right)));
}

void transform4(const std::int16_t *rows, std::uint8_t *out, std::ptrdiff_t stride)
{
    alignas(32) std::uint8_t bytes[32];
    for (int block = 0; block < PAIR_WIDTH; block += WORDS)
        storeBytes(fourByFour(rows + block), bytes + 2 * block);
    for (int y = 0; y < 4; ++y, out += stride) {
        std::memcpy(out, bytes + 4 * y, 4);
        std::memcpy(out + 4, bytes + 16 + 4 * y, 4);
    }
}

void transform2(const std::int16_t *rows, std::uint8_t *out, std::ptrdiff_t stride)
{
    constexpr int BITS = CONSTANT_BITS - KEPT_BITS + 2;
    constexpr int LAST_BITS = CONSTANT_BITS + KEPT_BITS + SCALE_BITS + 2;
    alignas(32) std::int16_t columns[2][PAIR_WIDTH];
    alignas(32) std::int32_t firstColumns[2][PAIR_WIDTH / 2]; // and three that are not used
    for (int block = 0; block < PAIR_WIDTH; block += WORDS) {
        const auto row = [&](int i) { return loadWords(rows + block + i * PAIR_WIDTH); };
        const Sums dc{left32<2>(raised<CONSTANT_BITS>(row(0)).low),
                      left32<2>(raised<CONSTANT_BITS>(row(0)).high)};
        const Sums odd = weighted(paired(row(1), row(3)), fixed(3.624509785), -fixed(1.272758580)) +
                         weighted(paired(row(5), row(7)), fixed(0.850430095), -fixed(0.720959822));
        const Sums sums[2] = {dc + odd, dc - odd};
        for (int y = 0; y < 2; ++y) {
            const Vector low = rounded<BITS>(sums[y].low);
            storeWords(limited32(low, rounded<BITS>(sums[y].high)), columns[y] + block);
            storeWords(low, firstColumns[y] + block / 2);
        }
    }
    for (int y = 0; y < 2; ++y, out += stride) {
        for (int block = 0; block < 2; ++block) {
            const std::int16_t *in = columns[y] + 8 * block;
            const auto weighted1 = [in](int i, double value) {
                return static_cast<std::uint32_t>(in[i] * fixed(value));
            };
            const std::uint32_t dc = static_cast<std::uint32_t>(firstColumns[y][4 * block])
                                     << (CONSTANT_BITS + 2);
            const std::uint32_t odd = weighted1(1, 3.624509785) + weighted1(3, -1.272758580) +
                                      weighted1(5, 0.850430095) + weighted1(7, -0.720959822);
            const auto sample = [](std::uint32_t sum) {
                const auto level =
                    static_cast<std::int32_t>(sum + (1U << (LAST_BITS - 1))) >> LAST_BITS;
                const int limited = level < -128 ? -128 : level > 127 ? 127 : level;
                return static_cast<std::uint8_t>(limited + 128);
            };
            out[2 * block] = sample(dc + odd);
            out[2 * block + 1] = sample(dc - odd);
        }
    }
}

inline Vector times3(Vector words)
{
    return add16(words, add16(words, words));
}

void smoothAcross(const std::uint8_t *row, int width, std::uint8_t *out)
{
    const auto end = [&](int x) {
        const int left = row[x == 0 ? 0 : x - 1];
        const int right = row[x == width - 1 ? x : x + 1];
        out[2 * x] = static_cast<std::uint8_t>((row[x] * 3 + left + 1) >> 2);
        out[2 * x + 1] = static_cast<std::uint8_t>((row[x] * 3 + right + 2) >> 2);
    };
    end(0);
    int x = 1;
    for (; x + WORDS < width; x += WORDS) {
        const Vector near = times3(widened(row + x));
        const Vector left = right16<2>(add16(add16(near, widened(row + x - 1)), all16(1)));
        const Vector right = right16<2>(add16(add16(near, widened(row + x + 1)), all16(2)));
        storeWords(add16(left, left16<8>(right)), out + 2 * x);
    }
    for (; x < width; ++x)
        end(x);
}

void smoothBothWays(const std::uint8_t *near, const std::uint8_t *far, int width, std::uint8_t *out)
{
    const auto columnAt = [&](int x) { return near[x] * 3 + far[x]; };
    const auto end = [&](int x) {
        const int left = columnAt(x == 0 ? 0 : x - 1);
        const int right = columnAt(x == width - 1 ? x : x + 1);
        out[2 * x] = static_cast<std::uint8_t>((columnAt(x) * 3 + left + 8) >> 4);
        out[2 * x + 1] = static_cast<std::uint8_t>((columnAt(x) * 3 + right + 7) >> 4);
    };
    const auto columns = [&](int x) { return add16(times3(widened(near + x)), widened(far + x)); };
    end(0);
    int x = 1;
    for (; x + WORDS < width; x += WORDS) {
        const Vector middle = times3(columns(x));
        const Vector left = right16<4>(add16(add16(middle, columns(x - 1)), all16(8)));
        const Vector right = right16<4>(add16(add16(middle, columns(x + 1)), all16(7)));
        storeWords(add16(left, left16<8>(right)), out + 2 * x);
    }
    for (; x < width; ++x)
        end(x);
}

void smoothDown(const std::uint8_t *near, const std::uint8_t *far, int width, int bias,
                std::uint8_t *out)
{
    const Vector biases = all16(static_cast<std::int16_t>(bias));
    int x = 0;
    for (; x + WORDS <= width; x += WORDS) {
        const Vector sum = add16(times3(widened(near + x)), widened(far + x));
        storeNarrow(right16<2>(add16(sum, biases)), out + x);
    }
    for (; x < width; ++x)
        out[x] = static_cast<std::uint8_t>((near[x] * 3 + far[x] + bias) >> 2);
}

/// x·factor / 65536, halves up.
inline Vector scaled(Vector x, Vector factor)
{
    return right16Signed<1>(add16(multiplyHigh(add16(x, x), factor), all16(1)));
}

void toColor(const std::uint8_t *y, const std::uint8_t *cb, const std::uint8_t *cr, int width,
             Pixel *out)
{
    // What 1.402, 1.772 and 0.71414 lack to whole numbers, in 65536ths.
    const Vector redOfCr = all16(26345);
    const Vector blueOfCb = all16(-14942);
    const Vector greenOfBoth = pairOf(-22554, 18734);
    const Vector middle = all16(128);
    const Vector alpha = all16(-1);
    int x = 0;
    for (; x + WORDS <= width; x += WORDS) {
        const Vector luma = widened(y + x);
        const Vector b = sub16(widened(cb + x), middle);
        const Vector r = sub16(widened(cr + x), middle);
        const Vector red = add16(add16(luma, r), scaled(r, redOfCr));
        const Vector blue = add16(add16(luma, add16(b, b)), scaled(b, blueOfCb));
        const Vector greenLow = rounded<16>(multiplyAdd(low16(b, r), greenOfBoth));
        const Vector greenHigh = rounded<16>(multiplyAdd(high16(b, r), greenOfBoth));
        const Vector green = add16(luma, sub16(limited32(greenLow, greenHigh), r));
        const Vector blueGreen =
            low8(limitedUnsigned16(blue, blue), limitedUnsigned16(green, green));
        const Vector redAlpha = low8(limitedUnsigned16(red, red), alpha);
        storePixels(low16(blueGreen, redAlpha), high16(blueGreen, redAlpha), out + x);
    }
    if (x < width)
        plainJpegKernels().toColor(y + x, cb + x, cr + x, width - x, out + x);
}

void toGrey(const std::uint8_t *y, int width, Pixel *out)
{
    const Vector alpha = all16(-1);
    int x = 0;
    for (; x + WORDS <= width; x += WORDS) {
        const Vector luma = widened(y + x);
        const Vector bytes = limitedUnsigned16(luma, luma);
        const Vector blueGreen = low8(bytes, bytes);
        const Vector redAlpha = low8(bytes, alpha);
        storePixels(low16(blueGreen, redAlpha), high16(blueGreen, redAlpha), out + x);
    }
    if (x < width)
        plainJpegKernels().toGrey(y + x, width - x, out + x);
}

constexpr JpegKernels KERNELS{transform8,     transform4, transform2, smoothAcross,
                              smoothBothWays, smoothDown, toColor,    toGrey};

} // namespace

} // namespace tavolin
