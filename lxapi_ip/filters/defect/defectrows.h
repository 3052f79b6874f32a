// The row loops of the defect detection, written once and compiled in each instruction-set unit
// (included inside an unnamed namespace there, so that each unit keeps its own copy).

template <class Sample>
inline uint32_t PixelAt(const uint8_t* row, size_t x) {
    Sample v;
    std::memcpy(&v, row + x * sizeof(Sample), sizeof v);
    return v;
}

// The running sum along the row per phase, added to the table row s rows above.
template <class Sample, class Sum>
void BuildTableRow(const uint8_t* pixels, const Sum* above, Sum* row, size_t width, size_t step) {
    const size_t head = step < width ? step : width;
    for (size_t x = 0; x < head; ++x) row[x] = PixelAt<Sample>(pixels, x);
    for (size_t x = head; x < width; ++x) row[x] = row[x - step] + PixelAt<Sample>(pixels, x);
    if (above)
        for (size_t x = 0; x < width; ++x) row[x] += above[x];
}

// The neighbourhood of x spans the columns of its phase in (left, right], with
// left = x - R - s (none below 0) and right = x + R limited to the last column of the phase.
template <class Sample, class Sum>
size_t JudgeTableRow(const uint8_t* pixels, const Sum* top, const Sum* bottom, uint64_t rows,
                     const lxdpd::Geometry& g, const double* bound, lxdpd::Candidate* out) {
    const size_t w = g.width, s = g.step, R = g.radius, mask = s - 1; // s is 1, 2 or 4
    const unsigned shift = s == 4 ? 2 : s == 2 ? 1 : 0;
    size_t n = 0;
    const auto judge = [&](size_t x, Sum sum, uint64_t count) {
        const uint32_t p = PixelAt<Sample>(pixels, x);
        if (count <= 1) return;
        const int64_t d = static_cast<int64_t>(static_cast<uint64_t>(sum) - uint64_t(p) * count);
        const double ad = static_cast<double>(d < 0 ? -d : d);
        if (ad < bound[x & mask] * static_cast<double>(count - 1)) return;
        out[n++] = {static_cast<uint32_t>(x), p, static_cast<uint64_t>(sum), count};
    };
    const auto rectangle = [&](size_t left, bool hasLeft, size_t right) {
        Sum sum = bottom[right];
        if (top) sum -= top[right];
        if (hasLeft) {
            sum -= bottom[left];
            if (top) sum += top[left];
        }
        return sum;
    };
    // Columns whose neighbourhood reaches the first column of their phase, or the last one.
    const size_t inner0 = R + s < w ? R + s : w;
    const size_t inner1 = w > R ? w - R : 0;
    for (size_t x = 0; x < inner0; ++x) {
        const size_t px = x & mask;
        const size_t right = x + R < g.lastCol[px] ? x + R : g.lastCol[px];
        judge(x, rectangle(0, false, right), (((right - px) >> shift) + 1) * rows);
    }
    // The middle: every neighbourhood has the same count, and the loop no branch on the edges.
    if (inner0 < inner1) {
        const uint64_t count = ((2 * R >> shift) + 1) * rows;
        for (size_t x = inner0; x < inner1; ++x) judge(x, rectangle(x - R - s, true, x + R), count);
    }
    for (size_t x = inner0 > inner1 ? inner0 : inner1; x < w; ++x) {
        const size_t px = x & mask;
        const size_t right = x + R < g.lastCol[px] ? x + R : g.lastCol[px];
        judge(x, rectangle(x - R - s, true, right), ((right - (x - R - s)) >> shift) * rows);
    }
    return n;
}

constexpr lxdpd::RowKernels MakeRowKernels() {
    return {&BuildTableRow<uint8_t, uint32_t>,  &BuildTableRow<uint8_t, uint64_t>,  &BuildTableRow<uint16_t, uint64_t>,
            &JudgeTableRow<uint8_t, uint32_t>, &JudgeTableRow<uint8_t, uint64_t>, &JudgeTableRow<uint16_t, uint64_t>};
}
