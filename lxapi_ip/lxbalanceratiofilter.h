// Balance ratio: a gain and two offsets per colour channel, applied in place through one table per
// channel, with an automatic white balance that works the gains out from the incoming images.
#pragma once

#include "balancechannel.h"
#include "balancestatistics.h"
#include "lxhandlertable.h"
#include "lxipmodulebase.h"

#include <includeinside/ilxbalanceratiofilterinside.h>

class CLxBalanceRatioFilter : public CLxIPModuleBase<ILxBalanceRatioFilterInside> {
public:
    static constexpr ELxFilterType_t FilterType = LxFilterType_BalanceRatio;
    using Handler = void (CLxBalanceRatioFilter::*)(ILxImage*);
    static const CLxHandlerTable<Handler>& Handlers();
    struct Registers; // the register declarations

    CLxBalanceRatioFilter();

    ILxFilterInfo* GetFilterInfo() override;
    ILxImage* Filter(ILxImage* image) override;

    double GetBalanceRatio(ELxBalanceRatioSelector_t eBRS) override;
    void SetBalanceRatio(ELxBalanceRatioSelector_t eBRS, double value) override;
    int32_t GetOffsetLevelBeforeGain(ELxBalanceRatioSelector_t eBRS) override;
    void SetOffsetLevelBeforeGain(ELxBalanceRatioSelector_t eBRS, int32_t value) override;
    int32_t GetOffsetLevelAfterGain(ELxBalanceRatioSelector_t eBRS) override;
    void SetOffsetLevelAfterGain(ELxBalanceRatioSelector_t eBRS, int32_t value) override;
    ELxBalanceWhiteAuto_t GetBalanceWhiteAuto() override;
    void SetBalanceWhiteAuto(ELxBalanceWhiteAuto_t eBWA) override;

private:
    // Where and how the samples of one image are mapped: `count` samples a line, lanes repeating
    // every period, the channel of each lane on even and odd lines, and the table limits per channel.
    struct Plan;
    void Run(const Plan& plan);
    void AutoBalance(const Plan& plan);

    void FilterMono(ILxImage* image);
    void FilterBayer(ILxImage* image);
    void FilterColor(ILxImage* image);
    void FilterLuma(ILxImage* image);

    lxbalance::CLxBalanceChannel& Channel(long long eBRS);
    // The internal setters: no range check; a change is announced when `notify` is set.
    void StoreRatio(size_t channel, double value, bool notify);
    void StoreBefore(size_t channel, int32_t value, bool notify);
    void StoreAfter(size_t channel, int32_t value, bool notify);

    // The register side: the channel picked by the selector register.
    double SelectedRatio() { return Channel(SelectedIndex()).Ratio(); }
    void StoreSelectedRatio(double v) { Channel(SelectedIndex()).SetRatio(v); }
    int32_t SelectedBefore() { return Channel(SelectedIndex()).Before(); }
    void StoreSelectedBefore(int32_t v) { Channel(SelectedIndex()).SetBefore(v); }
    int32_t SelectedAfter() { return Channel(SelectedIndex()).After(); }
    void StoreSelectedAfter(int32_t v) { Channel(SelectedIndex()).SetAfter(v); }
    int32_t SelectedIndex();

    int32_t m_selected = 0;
    uint32_t m_auto = 0;
    lxbalance::CLxBalanceChannel m_channels[lxbalance::kChannels] = {{}, {}, {}, {}, {-128, 128}, {-128, 128}};
};
