// The category lists that many filters share, in the platform's order.
#pragma once

namespace vello {

inline constexpr char kColorAdjustment[] =
    "ColorAdjustment Video StillImage Interlaced NonSquarePixels BuiltIn";
inline constexpr char kColorEffect[] = "ColorEffect Video Interlaced NonSquarePixels StillImage BuiltIn";
inline constexpr char kColorAdjustmentXMP[] =
    "ColorAdjustment Video StillImage Interlaced NonSquarePixels BuiltIn XMPSerializable";
inline constexpr char kColorEffectXMP[] =
    "ColorEffect Video Interlaced NonSquarePixels StillImage BuiltIn XMPSerializable";
inline constexpr char kBlur[] = "Blur StillImage Video BuiltIn";
inline constexpr char kBoxBlur[] = "Blur Video StillImage BuiltIn";
inline constexpr char kTransition[] = "Transition Video StillImage Interlaced NonSquarePixels BuiltIn";
inline constexpr char kGeometryAdjustment[] = "GeometryAdjustment Video StillImage BuiltIn";
inline constexpr char kGenerator[] = "Generator Video StillImage BuiltIn";
inline constexpr char kGradient[] = "Gradient Video StillImage BuiltIn";
inline constexpr char kStylize[] = "Stylize Video StillImage BuiltIn";
inline constexpr char kTileEffect[] = "TileEffect Video StillImage BuiltIn";
inline constexpr char kDistortion[] = "DistortionEffect Video StillImage BuiltIn";
inline constexpr char kSharpen[] = "Sharpen Video StillImage BuiltIn";
inline constexpr char kComposite[] =
    "CompositeOperation Video StillImage Interlaced NonSquarePixels HighDynamicRange BuiltIn";
inline constexpr char kBlendMode[] = "CompositeOperation Video StillImage Interlaced NonSquarePixels BuiltIn";

}  // namespace vello
