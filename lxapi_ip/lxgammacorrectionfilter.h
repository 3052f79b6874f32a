// Gamma correction: rewrites the samples of an image in place through a table made from Gamma.
#pragma once

#include "lxhandlertable.h"
#include "lxipmodulebase.h"

#include <includeinside/ilxgammacorrectionfilterinside.h>

#include <atomic>

// The table holder. The shared table is reference counted so that a table replaced by one thread's
// call stays alive until another thread's running call is done with it.
class CLxGammaTable {
public:
    struct SharedTable {
        uint16_t* entries;
        std::atomic<uint32_t> references;
    };

    CLxGammaTable() = default;
    CLxGammaTable(const CLxGammaTable&) = delete;
    CLxGammaTable& operator=(const CLxGammaTable&) = delete;
    ~CLxGammaTable();

    double GetGamma();
    void SetGamma(double gamma);
    // A referenced table for `bits` and the limits (0 and 0 for the full range), or null when Gamma
    // is exactly 1.0. The caller holds the module's work lock and drops the reference with Release.
    SharedTable* Acquire(size_t bits, uint16_t lo, uint16_t hi);
    static void Release(SharedTable* table) noexcept;

private:
    static SharedTable* Build(size_t bits, double gamma, uint16_t lo, uint16_t hi);

    SharedTable* m_table = nullptr;
    size_t m_bits = 8;
    double m_gamma = 1.0;       // the gamma the table was made for
    double m_gammaWanted = 1.0; // the parameter
    GenApi::CLock m_lock;       // guards m_gammaWanted
};

class CLxGammaCorrectionFilter : public CLxIPModuleBase<ILxGammaCorrectionFilterInside> {
public:
    static constexpr ELxFilterType_t FilterType = LxFilterType_GammaCorrection;
    static constexpr const char* DisplayName = "Gamma Correction";
    static constexpr int32_t ResourceId = 105;
    using Handler = void (CLxGammaCorrectionFilter::*)(ILxImage*);
    static const CLxHandlerTable<Handler>& Handlers();

    // Register addresses of the description.
    static constexpr int64_t GammaReg = 0x0010;
    static constexpr int64_t GammaMinReg = 0x0020;
    static constexpr int64_t GammaMaxReg = 0x0028;

    CLxGammaCorrectionFilter();

    ILxFilterInfo* GetFilterInfo() override;
    ILxImage* Filter(ILxImage* image) override;
    double GetGamma() override;
    void SetGamma(double value) override;

    bool ReadRegister(void* buffer, int64_t address, int64_t* length) override;
    bool WriteRegister(const void* buffer, int64_t address, int64_t* length) override;

private:
    void SetGammaInternal(double value, bool notify);
    CLxGammaTable::SharedTable* AcquireTable(size_t bits, uint16_t lo, uint16_t hi);

    template <class Sample>
    void FilterMono(ILxImage* image);
    template <class Sample>
    void FilterColor(ILxImage* image);
    void FilterLuma(ILxImage* image);

    double m_gammaMin = 0.0;
    double m_gammaMax = 4.0;
    CLxGammaTable m_gammaTable;
};
