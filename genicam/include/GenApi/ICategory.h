// GenApi::ICategory: a group of features, the branches of the feature tree.
#pragma once

#include <GenApi/IValue.h>

namespace GenApi {

class GENAPI_API ICategory : virtual public IValue {
public:
    // The features of the category in the order of the description.
    virtual void GetFeatures(FeatureList_t& Features) const = 0;

protected:
    ~ICategory() override = default;
};

} // namespace GenApi
