// The chains that the native engine, as designed, does not carry out as their ICC profiles
// mean. The library keeps its designed behaviour; the tool converts such a chain with lcms2
// (--engine auto) or refuses it with the reason (--engine native) instead of writing an image in
// wrong colours.
#pragma once

#include <string>

struct ResolvedChain;

// The reason the native engine would not do what the chain's profiles mean, naming the file;
// empty when it does. Reads each step's profile. Cases:
// - a gradation after the printer step: the native link has no curves step;
// - a black-preserving intent (6 to 13): the native engine reduces it to its plain intent;
// - a grey profile with a Lab connection space: the native grey stage reads XYZ;
// - a device-to-connection-space step of more than four channels: no native table has them;
// - a destination without a table for the step (matrix and curves) whose curves are
//   parametric: the native inverse reads sampled curves only;
// - a version-4 table (mAB /mBA ) with a Lab connection space: the native engine reads it with
//   the version-2 Lab encoding;
// - a table with a different grid size per input.
std::string NativeLimit(const ResolvedChain& chain);

// What is the matter with a profile that the library refused with 904 for a step, in words:
// the device class, a duplicate tag, a missing table. Empty when nothing is found.
std::string WhyNoTable(const std::string& path, int stepKind, int intent);
