// The catalogue: everything the plug-in offers, in the order in which the host gets it.
//
// The declarations are the public vocabulary, kept character for character; orders such as red, blue, green
// are the published ones.
#include <iterator>

#include "AbsBrightness.h"
#include "ClassRows.h"
#include "CombinePicturesQKZ.h"
#include "Contrast.h"
#include "CountColorQKZ.h"
#include "EmbeddedMask.h"
#include "ExtractColorQKZ.h"
#include "ExtractColorRectangleMaskQKZ.h"
#include "FindPicture.h"
#include "HasMask.h"
#include "LinBrightnessPicture.h"
#include "MergePicture.h"
#include "PictureLUT3D.h"
#include "RenderSamples.h"
#include "ReplaceChannel.h"
#include "ReplaceColorQKZ.h"
#include "SaturationPicture.h"
#include "ScrollPicture.h"
#include "Sepia.h"
#include "ThresholdPicture.h"
#include "TintPicture.h"
#include "TransformColorsQKZ.h"
#include "TransformPicture.h"
#include "colorness.h"
#include "iOSPicture.h"
#include "invert.h"
#include "isBlack.h"
#include "isGray.h"
#include "isWhite.h"
#include "pack.h"

namespace {

// The class extension of Picture.

// clang-format off
REALmethodDefinition pictureMethods[] = {
    method<ThresholdPicture>("ThresholdQKZ(Threshold as integer) as picture"),
    method<ColornessQKZ>("ColornessQKZ(threshold as integer = 10) as double"),
    method<ScrollVertical>("ScrollVerticalQKZ(delta as integer, wrap as boolean, scrollmask as boolean) as boolean"),
    method<ScrollHorizontal>("ScrollHorizontalQKZ(delta as integer, wrap as boolean, scrollmask as boolean) as boolean"),
    method<ScrollPicture>("ScrollQKZ(deltaX as integer, deltaY as integer, wrap as boolean, scrollmask as boolean) as boolean"),
    method<PictureHasMask>("HasMaskQKZ as boolean"),
    method<ContrastAbsBrightnessPicture3>("ChangeContrastBrightnessAbsoluteQKZ(ContrastRed as double, ContrastGreen as double, ContrastBlue as double, BrightnessRed as double, BrightnessGreen as double, BrightnessBlue as double) as picture"),
    method<ContrastLinBrightnessPicture3>("ChangeContrastBrightnessLinearQKZ(ContrastRed as double, ContrastGreen as double, ContrastBlue as double, BrightnessRed as double, BrightnessGreen as double, BrightnessBlue as double) as picture"),
    method<ContrastAbsBrightnessPicture1>("ChangeContrastBrightnessAbsoluteQKZ(Contrast as double, Brightness as double) as picture"),
    method<ContrastLinBrightnessPicture1>("ChangeContrastBrightnessLinearQKZ(Contrast as double, Brightness as double) as picture"),
    method<AbsBrightnessPicture3>("ChangeBrightnessAbsoluteQKZ(BrightnessRed as double, BrightnessGreen as double, BrightnessBlue as double) as picture"),
    method<LinBrightnessPicture3>("ChangeBrightnessLinearQKZ(BrightnessRed as double, BrightnessGreen as double, BrightnessBlue as double) as picture"),
    method<AbsBrightnessPicture1>("ChangeBrightnessAbsoluteQKZ(Brightness as double) as picture"),
    method<LinBrightnessPicture1>("ChangeBrightnessLinearQKZ(Brightness as double) as picture"),
    method<ContrastPicture1>("ChangeContrastQKZ(Contrast as double) as picture"),
    method<ContrastPicture3>("ChangeContrastQKZ(ContrastRed as double, ContrastGreen as double, ContrastBlue as double) as picture"),
    method<TransformPicture1>("ChangeCustomQKZ(a as double, b as double) as picture"),
    method<TransformPicture3>("ChangeCustomQKZ(Ra as double, Rb as double, Ga as double, Gb as double, Ba as double, Bb as double) as picture"),
    method<InvertPicture>("InvertQKZ(left as integer,top as integer,width as integer,height as integer) as picture"),
    method<InvertPicture2>("InvertQKZ as picture"),
    method<InvertGrayPicture>("InvertGrayQKZ(left as integer,top as integer,width as integer,height as integer) as picture"),
    method<InvertGrayPicture2>("InvertGrayQKZ as picture"),
    method<ExtractColorRectangleMask>("ExtractColorRectangleMaskQKZ(left as integer,top as integer,width as integer,height as integer) as picture"),
    method<ExtractColorRectangleMask2>("ExtractColorRectangleMaskQKZ as picture"),
    method<GetEmbeddedMask, SetEmbeddedMask>("EmbeddedMaskQKZ(swap as boolean) as picture"),
    method<CountColorQKZ>("CountColorQKZ(col as color) as integer"),
    method<CountColorsQKZ>("CountColorsQKZ(byref red as memoryblock, byref blue as memoryblock, byref green as memoryblock, byref count as integer)"),
    method<TransformColorsQKZ>("TransformColorsQKZ(red as memoryblock, blue as memoryblock, green as memoryblock, dest as picture = nil) as picture"),
    method<ReplaceColorQKZ>("ReplaceColorQKZ(SearchColor as color, ReplaceWithColor as color) as picture"),
    method<ExtractColorQKZ>("ExtractColorQKZ(SearchColor as color, ReplaceWithColor as color, BackGroundColor as color) as picture"),
    method<SaturationPicture>("ChangeSaturationQKZ(Amount as integer) as picture"),
    method<ReplaceRedChannel>("ReplaceRedChannelQKZ(RedChannel as picture) as picture"),
    method<ReplaceGreenChannel>("ReplaceGreenChannelQKZ(GreenChannel as picture) as picture"),
    method<ReplaceBlueChannel>("ReplaceBlueChannelQKZ(BlueChannel as picture) as picture"),
    method<FindPictureQKZ>("FindPictureQKZ(pic as picture, byref x as integer, byref y as integer, StartX as Integer = 0, StartY as Integer = 0, Tolerance as Integer = 3) as boolean"),
    method<isWhite2>("isWhiteQKZ as boolean"),
    method<isWhite>("isWhiteQKZ(left as integer,top as integer,width as integer,height as integer) as boolean"),
    method<isBlack2>("isBlackQKZ as boolean"),
    method<isBlack>("isBlackQKZ(left as integer,top as integer,width as integer,height as integer) as boolean"),
    method<isGray2>("isGrayQKZ(tolerance as integer = 0) as boolean"),
    method<isGray>("isGrayQKZ(tolerance as integer, left as integer,top as integer,width as integer,height as integer) as boolean"),
};
// clang-format on

REALclassDefinition pictureExtension = {
    .name = "Picture",
    .methods = pictureMethods,
    .methodCount = std::size(pictureMethods),
    .flags = REALconsoleSafe,
};

// The global methods.

const REALattribute usePng = {"Deprecated", "\"PNG format\""};

REALmethodDefinition deprecated(REALmethodDefinition row) {
    row.attributeCount = 1;
    row.attributes = &usePng;
    return row;
}

// clang-format off
REALmethodDefinition globalMethods[] = {
    deprecated(method<BinaryStringtoPictureQKZ>("BinaryStringtoPictureQKZ(data as String) as Picture")),
    deprecated(method<PicturetoBinaryStringQKZ>("PicturetoBinaryStringQKZ(p as picture) as string")),
    method<CombinePicturesQKZ>("CombinePicturesQKZ(red as picture, blue as picture, green as picture) as picture"),
    method<MergePictureQKZ>("MergePictureQKZ(source1 as picture, source2 as picture) as picture"),
    method<TintPictureQKZ>("TintPictureQKZ(source as picture, GreyBase as color, SepiaBase as color) as picture"),
    method<RenderSamplesQKZ>("RenderSamplesQKZ(Samples as memoryblock, SampleCount as integer, Smooth as integer, Width as integer, Height as integer, outlinewidth as integer, BackColor as color=&c88B5C4, ForeColor as color=&c274C5A, OutLineColor as color=&c203F4E, Bits as Integer = 8, AutoScale as boolean = false) as Picture"),
};
// clang-format on

// The module of iOS methods, which only raise here. It has no console-safe bit: it is for iOS targets.

// clang-format off
REALmethodDefinition iOSMethods[] = {
    method<iOSOnlyBoolean>("VideoAtPathIsCompatibleWithSavedPhotosAlbum(VideoPath as String) as Boolean", REALtargetIOS),
    method<iOSOnlyBoolean>("VideoAtPathIsCompatibleWithSavedPhotosAlbum(VideoFile as FolderItem) as Boolean", REALtargetIOS),
    method<iOSOnly>("WriteImageToSavedPhotosAlbum(Pic as Picture, CompletionDelegate as ImageSaveCompletedQKZ)", REALtargetIOS),
    method<iOSOnly>("SaveVideoAtPathToSavedPhotosAlbum(VideoPath as String, CompletionDelegate as VideoSaveCompletedQKZ)", REALtargetIOS),
    method<iOSOnly>("SaveVideoAtPathToSavedPhotosAlbum(VideoFile as FolderItem, CompletionDelegate as VideoSaveCompletedQKZ)", REALtargetIOS),
    method<iOSOnly>("SaveImageAtPathToSavedPhotosAlbum(ImagePath as String, CompletionDelegate as ImageSaveCompletedQKZ)", REALtargetIOS),
    method<iOSOnly>("SaveImageAtPathToSavedPhotosAlbum(ImageFile as FolderItem, CompletionDelegate as ImageSaveCompletedQKZ)", REALtargetIOS),
};

const REALdelegate iOSDelegates[] = {
    {"ImageSaveCompletedQKZ(error as NSErrorQKZ)", REALtargetIOS, 0, nullptr},
    {"VideoSaveCompletedQKZ(videoPath as String, error as NSErrorQKZ)", REALtargetIOS, 0, nullptr},
};
// clang-format on

REALproperty iOSProperties[] = {
    DebuggingProperty(REALpropRuntimeOnly | REALscopePublic | REALtargetIOS),
};

REALmoduleDefinition iOSModule = {
    .name = "iOSPictureQKZ",
    .methods = iOSMethods,
    .methodCount = std::size(iOSMethods),
    .properties = iOSProperties,
    .propertyCount = std::size(iOSProperties),
    .delegates = iOSDelegates,
    .delegateCount = std::size(iOSDelegates),
    .flags = REALtargetIOS,
};

}  // namespace

void PluginEntry() {
    MyPluginStart("Picture");
    if (HostVersion() >= 2020.02) MyREALRegisterModule(iOSModule);
    MyREALRegisterClass(pictureSepiaClass);
    MyREALRegisterClass(pictureLut3DClass);
    MyREALRegisterClassExtension(pictureExtension);
    MyREALRegisterMethodArray(globalMethods, std::size(globalMethods));
    MyPluginEnd();
}
