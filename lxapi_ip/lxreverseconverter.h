// The reverse converter: flips an image in X, in Y or both and turns it by a quarter turn, moving
// samples without changing them. The format of the result follows the moved sites of a Bayer or
// polarizer pattern.
#pragma once

#include "frame/lxmoduleregistry.h"
#include "lxhandlertable.h"
#include "lxipmodulebase.h"
#include "reversekernels.h"

#include <includeinside/ilxreverseconverterinside.h>

class CLxReverseConverter;

// The info object: the name, and whether a format can be reversed (stands in the handler table).
class CLxReverseConverterInfo : public ILxConverterInfo {
public:
    ELxConverterType_t GetConverterType() override;
    GenICam::gcstring GetDisplayName() override;
    bool IsSupportedPixelFormat(uint32_t pixelFormat) override;
};

class CLxReverseConverter : public CLxIPModuleBase<ILxReverseConverterInside> {
public:
    static constexpr ELxConverterType_t ConverterType = LxConverterType_Reverse;
    using Handler = void (*)(ILxImage* source, ILxImage* destination, lxreverse::Operation op);
    static const CLxHandlerTable<Handler>& Handlers();
    struct Registers; // the register declarations

    CLxReverseConverter();

    ILxConverterInfo* GetConverterInfo() override { return &m_converterInfo; }
    void Convert(ILxImage* source, ILxImageBuffer* destination) override;

    int64_t GetDestinationBufferParameter() override;
    void SetDestinationBufferParameter(int64_t value) override;
    bool GetReverseX() override;
    void SetReverseX(bool value) override;
    bool GetReverseY() override;
    void SetReverseY(bool value) override;
    ELxRotationMode_t GetRotationMode() override;
    void SetRotationMode(ELxRotationMode_t eRM) override;

    // The one operation the three parameters add up to; a rotation mode outside 0 to 2 counts as 0.
    static lxreverse::Operation OperationOf(bool reverseX, bool reverseY, int32_t rotationMode) noexcept;
    // The format of the result of reversing a `width` x `height` image of `format` by the
    // parameters: a Bayer phase or polarizer variant where the pattern moves, else `format`.
    static uint32_t ResultFormat(uint32_t format, size_t width, size_t height, bool reverseX, bool reverseY,
                                 int32_t rotationMode);

    // ---- the movers of the handler table, by what a pixel holds ----
    static void ReverseOneComponent(ILxImage* source, ILxImage* destination, lxreverse::Operation op);
    static void ReverseThreeComponents(ILxImage* source, ILxImage* destination, lxreverse::Operation op);
    static void ReverseWord32(ILxImage* source, ILxImage* destination, lxreverse::Operation op);

private:
    // Creates the destination in the result's size and format and moves the pixels.
    void ApplyReverse(ILxImage* source, ILxImageBuffer* destination, lxreverse::Operation op, bool reverseX,
                      bool reverseY, int32_t rotationMode);

    CLxReverseConverterInfo m_converterInfo;
    // Guarded by the base's parameter lock.
    bool m_reverseX = false;
    bool m_reverseY = false;
    int32_t m_rotationMode = LxRotationMode_OFF;
    int64_t m_destinationBufferParameter = 0;
};
