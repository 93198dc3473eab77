// The cache of built lcms2 transforms behind ILcmsTransform, by key text.
#pragma once

#include <lcms2.h>

#include <string>

class ILcmsTransformPool {
public:
    virtual ~ILcmsTransformPool() = default;

    // The transform stored under the key, or null. A hit counts as a use.
    virtual cmsHTRANSFORM Find(const std::wstring& key) = 0;
    // Stores the transform, which the pool then owns. If the key is there already, another
    // thread made the same transform first: the given one is deleted and `transform` is set to
    // the stored one.
    virtual void Insert(const std::wstring& key, cmsHTRANSFORM& transform) = 0;
};
