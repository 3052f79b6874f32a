// The reverse converter: flips an image horizontally, vertically or both and turns it by a quarter
// turn, moving samples without changing them.
#pragma once

#include <lxapi/ilxconverter.h>

enum ELxRotationMode_t : int32_t {
    LxRotationMode_OFF = 0,
    LxRotationMode_Clockwise90 = 1,
    LxRotationMode_Counterclockwise90 = 2,
};

class LXAPI_INTERFACE ILxReverseConverter : public virtual ILxConverter {
public:
    virtual int64_t GetDestinationBufferParameter() = 0;
    virtual void SetDestinationBufferParameter(int64_t value) = 0;
    virtual bool GetReverseX() = 0;
    virtual void SetReverseX(bool value) = 0;
    virtual bool GetReverseY() = 0;
    virtual void SetReverseY(bool value) = 0;
    virtual ELxRotationMode_t GetRotationMode() = 0;
    virtual void SetRotationMode(ELxRotationMode_t eRM) = 0;

protected:
    ~ILxReverseConverter() override = default;
};
