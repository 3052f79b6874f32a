// The row loops of the flat field correction, written once and compiled in each instruction-set unit
// (included inside an unnamed namespace there, so that each unit keeps its own copy).
//
// Multiplication: g = 0 if p <= input offset, else ((p - input offset) * t) >> 7; out = min(M, output
// offset + g). A gain entry is at most the ceiling 16.0 (2048), so the product of a 16-bit sample and
// an entry stays below 2^31: the unsigned arithmetic below gives the signed 32-bit result bit for bit.
// Addition: s = p + t as signed 32-bit; out = 0 if s < 1, else min(M, s).
//
// Words are read and written through memcpy: lines of 16-bit samples may start on odd addresses.

template <class Sample>
inline uint32_t LoadSample(const uint8_t* p) {
    Sample v;
    std::memcpy(&v, p, sizeof v);
    return v;
}
template <class Sample>
inline void StoreSample(uint8_t* p, uint32_t v) {
    const Sample s = static_cast<Sample>(v);
    std::memcpy(p, &s, sizeof s);
}

template <class Sample>
void MultiplyRow(uint8_t* row, const lxff::Gain* table, size_t width, uint32_t maximum, const lxff::LawConstants& k) {
    const uint32_t in = k.inputOffset, out = k.outputOffset;
    for (size_t x = 0; x < width; ++x) {
        const uint32_t p = LoadSample<Sample>(row + x * sizeof(Sample));
        const uint32_t d = p > in ? p - in : 0u;
        const uint32_t v = out + ((d * uint32_t(table[x])) >> 7);
        StoreSample<Sample>(row + x * sizeof(Sample), v < maximum ? v : maximum);
    }
}

template <class Sample>
void AddRow(uint8_t* row, const uint32_t* table, size_t width, uint32_t maximum, const lxff::LawConstants&) {
    const int32_t m = static_cast<int32_t>(maximum);
    for (size_t x = 0; x < width; ++x) {
        const int32_t s = static_cast<int32_t>(LoadSample<Sample>(row + x * sizeof(Sample))) +
                          static_cast<int32_t>(table[x]);
        const int32_t v = s < 1 ? 0 : (s < m ? s : m);
        StoreSample<Sample>(row + x * sizeof(Sample), static_cast<uint32_t>(v));
    }
}

constexpr lxff::RowKernels MakeRowKernels() {
    return {{&MultiplyRow<uint8_t>, &MultiplyRow<uint16_t>}, {&AddRow<uint8_t>, &AddRow<uint16_t>}};
}
