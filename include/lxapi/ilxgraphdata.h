// Graph data: series of unsigned 32-bit numbers (a histogram of one pixel component, or its column
// or row sums) with small tables of named numbers about each series, kept in lists that save to a
// binary or a CSV file and load back from the binary one.
#pragma once

#include <GenICam/GCString.h>
#include <lxapi/ilxreleasable.h>
#include <lxapi/lxapidef.h>

// The width of an element in bits; 32 is the only one.
enum ELxNumberDataType_t : int32_t {
    LxNumberDataType_uint32 = 32,
};

// What a series measures (GraphDataType of the graph data filter); 0 for a series of no filter.
enum ELxGraphDataType_t : int32_t {
    LxGraphDataType_Histogram = 1,
    LxGraphDataType_VerticalIntegration = 2,   // sums per column
    LxGraphDataType_HorizontalIntegration = 3, // sums per row
};

// The unsigned numbers about a series.
enum ELxGraphDataInformationUint_t : int32_t {
    LxGraphDataInformationUint_PixelComponent = 0,    // the pixel component id of the series
    LxGraphDataInformationUint_Total = 1,             // pixels counted, or the largest possible sum
    LxGraphDataInformationUint_PeakIndex = 2,         // index of the first greatest element
    LxGraphDataInformationUint_PeakValue = 3,         // the greatest element
    LxGraphDataInformationUint_SummedPixelCount = 4,  // sums: pixels summed per element
};

// The floating-point numbers about a series: there is none yet, every value is refused.
enum ELxGraphDataInformationFloat_t : int32_t {};

enum ELxGraphDataFileFormat_t : int32_t {
    LxGraphDataFileFormat_Binary = 0,
    LxGraphDataFileFormat_CSV = 1,
};

// Decides where the elements of a series lie.
class LXAPI_INTERFACE ILxSpecificTypeAllocator {
public:
    // A block of nBits * nCount / 8 bytes in *ppData, or null when that is under 8 bits or memory is
    // short. *pnContext is the allocator's own value, which the series hands back by GetContext().
    virtual void Allocate(void** ppData, uint16_t nBits, uint64_t nCount, uint64_t* pnContext) = 0;
    virtual void Free(void* pData) = 0;
    // The series that used this allocator is being destroyed.
    virtual void OnUserDestroyed() = 0;

protected:
    virtual ~ILxSpecificTypeAllocator() = default;
};

// The read view of a series.
class LXAPI_INTERFACE ILxGraphData {
public:
    virtual uint32_t GetGraphDataType() const = 0;
    virtual ELxNumberDataType_t GetDataType() const = 0;
    virtual uint64_t GetCount() const = 0;
    virtual const uint32_t* GetData() const = 0;
    virtual uint32_t* GetData() = 0;
    virtual uint64_t GetContext() const = 0;
    // The stored number; for a series of no filter the peak (2, 3) is computed on demand. Throws
    // RuntimeException "Not supported information for this data type." for a number not at hand.
    virtual uint32_t GetInformationUint(ELxGraphDataInformationUint_t eGDIU) const = 0;
    virtual double GetInformationFloat(ELxGraphDataInformationFloat_t eGDIF) const = 0;

protected:
    virtual ~ILxGraphData() = default;
};

class LXAPI_INTERFACE ILxGraphDataBuffer {
public:
    // The read view; throws RuntimeException "There is no available graph data." without data.
    virtual const ILxGraphData* GetILxGraphData() const = 0;
    virtual ILxGraphData* GetILxGraphData() = 0;
    // Bytes of the elements; 0 for an empty series.
    virtual uint64_t GetSize() const = 0;
    virtual const uint32_t* GetData() const = 0;
    virtual uint32_t* GetData() = 0;

protected:
    virtual ~ILxGraphDataBuffer() = default;
};

class LXAPI_INTERFACE ILxGraphDataBufferResizable : public ILxGraphDataBuffer {
public:
    // Takes type, elements and (from a buffer of this library) the numbers of pBuffer.
    virtual void CopyFrom(const ILxGraphDataBuffer* pBuffer) = 0;
    virtual void Resize(ELxNumberDataType_t eDataType, uint64_t nCount) = 0;
    virtual void SetInformationUint(ELxGraphDataInformationUint_t eGDIU, uint32_t nValue) = 0;
    virtual void SetInformationFloat(ELxGraphDataInformationFloat_t eGDIF, double dValue) = 0;
    // nCount zeroed elements and no numbers; the block is kept when type and count stay.
    virtual void Initialize(ELxNumberDataType_t eDataType, uint64_t nCount, uint32_t nGraphDataType) = 0;

protected:
    ~ILxGraphDataBufferResizable() override = default;
};

class LXAPI_INTERFACE ILxGraphDataBufferResizableReleasable : public ILxGraphDataBufferResizable,
                                                              public ILxReleasable {
protected:
    ~ILxGraphDataBufferResizableReleasable() override = default;
};

// A list of series, one per pixel component.
class LXAPI_INTERFACE ILxGraphDataBufferList {
public:
    virtual size_t GetCount() const = 0;
    virtual const ILxGraphDataBuffer* GetILxGraphDataBuffer(int64_t nIndex) const = 0;
    virtual bool IsSaveSupported(ELxGraphDataFileFormat_t eSGDF) const = 0;
    // Creates the folders of the name as needed. Throws "File %s is unwritable." on failure.
    virtual void Save(ELxGraphDataFileFormat_t eSGDF, const GenICam::gcstring& strFileName) const = 0;
    virtual bool IsLoadSupported(ELxGraphDataFileFormat_t eSGDF) const = 0;

protected:
    virtual ~ILxGraphDataBufferList() = default;
};

class LXAPI_INTERFACE ILxGraphDataBufferListResizable : public ILxGraphDataBufferList {
public:
    // Reads a binary file; on failure the list is as it was.
    virtual void Load(const GenICam::gcstring& strFileName) = 0;
    virtual void Resize(size_t nCount) = 0;
    // Copies the non-empty series of pList, in order.
    virtual void CopyFrom(const ILxGraphDataBufferList* pList) = 0;
    virtual ILxGraphDataBufferResizable* GetILxGraphDataBufferResizable(int64_t nIndex) = 0;

protected:
    ~ILxGraphDataBufferListResizable() override = default;
};

class LXAPI_INTERFACE ILxGraphDataBufferListResizableReleasable : public ILxGraphDataBufferListResizable,
                                                                  public ILxReleasable {
protected:
    ~ILxGraphDataBufferListResizableReleasable() override = default;
};
