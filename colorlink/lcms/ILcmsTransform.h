// A transform over a list of profiles given by path, by memory or by curves, for modules that
// make the same transform again and again: built transforms are kept in one process-wide pool
// (CLcmsTransformPool) under a hash of everything that decides their result, so the next object
// that asks for the same gets the same transform. 16-bit pixels only.
//
// Use: Create; add profiles in the order of the chain (AddProfile, AddCurves) or in front of
// what is there (InsertProfile, InsertProfileData); CreateTransform once, which uses up the
// list; DoTransform as often as needed; delete. Failures throw CStringException with the text
// lcms2 reported (base/Exception.h). Other modules are compiled against the order of the
// operations, so it may not change.
#pragma once

#include <string>
#include <vector>

class ILcmsTransform {
public:
    virtual ~ILcmsTransform() = default;

    virtual void AddProfile(const std::wstring& path, int intent, int blackPoint) = 0;
    virtual void InsertProfileData(const void* data, int intent, int blackPoint) = 0;
    virtual void InsertProfile(const std::wstring& path, int intent, int blackPoint) = 0;
    virtual void AddCurves(unsigned space, const std::vector<unsigned short*>& curves) = 0;
    // The colour space signature at the end of the list; Lab for an empty list.
    virtual unsigned GetColorSpace() = 0;
    virtual int GetChannels() = 0;
    // Types: 1 grey, 2 Lab, 3 RGB, 4 CMYK, anything else any space.
    virtual void CreateTransform(unsigned inType, unsigned nIn, unsigned outType,
                                 unsigned nOut) = 0;
    virtual void DoTransform(const void* src, void* dst, unsigned count) = 0;
    virtual int IsCurvesOnly() = 0;

    // A new transform object; the caller owns it.
    static ILcmsTransform* Create();
    // Channels of the colour space of the profile at `path`; throws if it is no profile.
    static int GetProfileChannelsCount(const std::wstring& path);
};
