// The row loops of the defect detection, written once and compiled in each instruction-set unit
// (included inside an unnamed namespace there, so that each unit keeps its own copy).

template <class Sample>
inline uint32_t PixelAt(const uint8_t* row, size_t x) {
    Sample v;
    std::memcpy(&v, row + x * sizeof(Sample), sizeof v);
    return v;
}

template <class Sample, class Sum>
void AddColumns(const uint8_t* pixels, Sum* columns, Sum* prefix, size_t width, size_t step) {
    for (size_t x = 0; x < width; ++x) columns[x] += PixelAt<Sample>(pixels, x);
    if (!prefix) return;
    const size_t head = step < width ? step : width;
    for (size_t x = 0; x < head; ++x) prefix[x] = columns[x];
    for (size_t x = head; x < width; ++x) prefix[x] = prefix[x - step] + columns[x];
}

// The differences wrap in the unsigned sums; the running sums they move are exact.
template <class Sample, class Sum>
void SlideRunning(const uint8_t* enter, const uint8_t* leave, Sum* prefix, size_t width, size_t step) {
    Sum run[4] = {};
    const size_t mask = step - 1;
    for (size_t x = 0; x < width; ++x) {
        Sum d = enter ? Sum(PixelAt<Sample>(enter, x)) : Sum(0);
        if (leave) d -= PixelAt<Sample>(leave, x);
        run[x & mask] += d;
        prefix[x] += run[x & mask];
    }
}

// The fast test of one pixel; appends it to `out` when it needs the exact one.
template <class Sample, class Sum>
inline void JudgePixel(const uint8_t* pixels, size_t x, Sum sum, uint64_t count, const double* bound, size_t mask,
                       lxdpd::Candidate* out, size_t& n) {
    const uint32_t p = PixelAt<Sample>(pixels, x);
    if (count <= 1) return;
    const int64_t d = static_cast<int64_t>(static_cast<uint64_t>(sum) - uint64_t(p) * count);
    const double ad = static_cast<double>(d < 0 ? -d : d);
    if (ad < bound[x & mask] * static_cast<double>(count - 1)) return;
    out[n++] = {static_cast<uint32_t>(x), p, static_cast<uint64_t>(sum), count};
}

// The neighbourhood of x spans the columns of its phase in (left, right], with
// left = x - R - s (none below 0) and right = x + R limited to the last column of the phase. The
// columns whose neighbourhood reaches neither edge, [x0, x1), all hold the same count and go to
// `middle(x0, x1, count, n)`, which returns the new number of candidates.
template <class Sample, class Sum, class Middle>
size_t JudgeRowWith(const uint8_t* pixels, const Sum* prefix, uint64_t rows, const lxdpd::Geometry& g,
                    const double* bound, lxdpd::Candidate* out, Middle&& middle) {
    const size_t w = g.width, s = g.step, R = g.radius, mask = s - 1; // s is 1, 2 or 4
    const unsigned shift = s == 4 ? 2 : s == 2 ? 1 : 0;
    size_t n = 0;
    const size_t inner0 = R + s < w ? R + s : w;
    const size_t inner1 = w > R ? w - R : 0;
    for (size_t x = 0; x < inner0; ++x) {
        const size_t px = x & mask;
        const size_t right = x + R < g.lastCol[px] ? x + R : g.lastCol[px];
        JudgePixel<Sample, Sum>(pixels, x, prefix[right], (((right - px) >> shift) + 1) * rows, bound, mask, out, n);
    }
    if (inner0 < inner1) n = middle(inner0, inner1, ((2 * R >> shift) + 1) * rows, n);
    for (size_t x = inner0 > inner1 ? inner0 : inner1; x < w; ++x) {
        const size_t px = x & mask;
        const size_t right = x + R < g.lastCol[px] ? x + R : g.lastCol[px];
        const Sum sum = prefix[right] - prefix[x - R - s];
        JudgePixel<Sample, Sum>(pixels, x, sum, ((right - (x - R - s)) >> shift) * rows, bound, mask, out, n);
    }
    return n;
}

template <class Sample, class Sum>
size_t JudgeMiddleScalar(const uint8_t* pixels, const Sum* prefix, const lxdpd::Geometry& g, const double* bound,
                         lxdpd::Candidate* out, size_t x0, size_t x1, uint64_t count, size_t n) {
    const size_t R = g.radius, s = g.step, mask = s - 1;
    for (size_t x = x0; x < x1; ++x) {
        const Sum sum = prefix[x + R] - prefix[x - R - s];
        JudgePixel<Sample, Sum>(pixels, x, sum, count, bound, mask, out, n);
    }
    return n;
}

template <class Sample, class Sum>
size_t JudgeRowScalar(const uint8_t* pixels, const Sum* prefix, uint64_t rows, const lxdpd::Geometry& g,
                      const double* bound, lxdpd::Candidate* out) {
    return JudgeRowWith<Sample, Sum>(pixels, prefix, rows, g, bound, out,
                                     [&](size_t x0, size_t x1, uint64_t count, size_t n) {
                                         return JudgeMiddleScalar<Sample, Sum>(pixels, prefix, g, bound, out, x0, x1,
                                                                               count, n);
                                     });
}

constexpr lxdpd::RowKernels MakeRowKernels() {
    return {&AddColumns<uint8_t, uint32_t>,     &AddColumns<uint8_t, uint64_t>,     &AddColumns<uint16_t, uint64_t>,
            &SlideRunning<uint8_t, uint32_t>,   &SlideRunning<uint8_t, uint64_t>,   &SlideRunning<uint16_t, uint64_t>,
            &JudgeRowScalar<uint8_t, uint32_t>, &JudgeRowScalar<uint8_t, uint64_t>, &JudgeRowScalar<uint16_t, uint64_t>};
}
