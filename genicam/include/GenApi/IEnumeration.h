// GenApi::IEnumeration and GenApi::IEnumEntry: a feature with a list of named values.
#pragma once

#include <GenApi/IValue.h>

namespace GenApi {

class GENAPI_API IEnumEntry : virtual public IValue {
public:
    virtual int64_t GetValue() = 0;
    virtual GenICam::gcstring GetSymbolic() const = 0;
    virtual double GetNumericValue() = 0;
    // True if the device sets the feature back to another entry by itself once done.
    virtual bool IsSelfClearing() = 0;

protected:
    ~IEnumEntry() override = default;
};

class GENAPI_API IEnumeration : virtual public IValue {
public:
    // Symbolic names of the entries that are available now.
    virtual void GetSymbolics(StringList_t& Symbolics) = 0;
    // All entries, available or not, in the order of the description.
    virtual void GetEntries(NodeList_t& Entries) = 0;
    virtual IEnumeration& operator=(const GenICam::gcstring& ValueStr) = 0;
    virtual void SetIntValue(int64_t Value, bool Verify = true) = 0;
    virtual GenICam::gcstring operator*() = 0;
    virtual int64_t GetIntValue(bool Verify = false, bool IgnoreCache = false) = 0;
    // Null if no entry has that symbolic name / value.
    virtual IEnumEntry* GetEntryByName(const GenICam::gcstring& Symbolic) = 0;
    virtual IEnumEntry* GetEntry(const int64_t IntValue) = 0;
    // The entry of the current value, null if the value has none.
    virtual IEnumEntry* GetCurrentEntry(bool Verify = false, bool IgnoreCache = false) = 0;

protected:
    ~IEnumeration() override = default;
};

} // namespace GenApi
