// SPDX-License-Identifier: Apache-2.0
#include "documented_lines.h"

#include <algorithm>
#include <cctype>

#include "tavix/core/codes.h"

namespace tavix::fuzz {

namespace {

constexpr int32_t kOk = TAVIX_OK, kMemory = TAVIX_ERROR_MEMORY,
                  kUnsupported = TAVIX_ERROR_UNSUPPORTED, kParam = TAVIX_ERROR_INVALID_PARAM,
                  kData = TAVIX_ERROR_INVALID_DATA;

constexpr std::string_view kBinary = "TavixFrameBinaryArithmetic",
                           kUnary = "TavixFrameUnaryArithmetic",
                           kStatistics = "TavixFrameStatisticalFunction",
                           kSoftmax = "TavixBlobSoftmax", kColor = "TavixFrameConvertColorByCPU",
                           kFrameToBlob = "TavixFrameToBlobByCPU",
                           kFramesToBlob = "TavixFramesToBlobByCPU",
                           kBlobToFrame = "TavixBlobToFrameByCPU",
                           kBlobToFrames = "TavixBlobToFramesByCPU",
                           kNormalize = "TavixFrameDataTypeConvertNormalizationFuseByCPU",
                           kResize = "TavixFrameResizeByCPU",
                           kScale = "TavixFrameResizeByScaleByCPU", kWarp = "TavixFrameWarp",
                           kRoi = "TavixFrameRoiByCPU", kBorder = "TavixFrameCopyMakeBorderByCPU",
                           kBlur = "TavixFrameBlurByCPU", kBox = "TavixFrameBoxFilterByCPU",
                           kFilter = "TavixFrameFilter2DByCPU",
                           kDilate = "TavixFrameDilateBorderByCPU",
                           kErode = "TavixFrameErodeBorderByCPU",
                           kThreshold = "TavixFrameThresholdBinaryByCPU",
                           kMinMax = "TavixFrameMinMaxNormByCPU",
                           kSplit = "TavixFrameChannelSplitByCPU", kMask = "TavixFrameAddMaskByCPU",
                           kProduct = "TavixFrameMultiFrameByCPU", kFill = "TavixFrameMemfillByCPU";

constexpr std::string_view kNullFrames = "src_frame:%p or dst_frame:%p is nullptr",
                           kNullPlanes =
                               "src_frame->data[0]:%p or dst_frame->data[0]:%p is nullptr",
                           kForeign =
                               "src_frame->memory:%d or dst_frame->memory:%d is not host memory",
                           kNoType = "Unsupported Frame Type:%d To OpencvType!",
                           kOpenCv = "OpenCV error: %s", kFailed = "convert data type failed",
                           kNoLayout = "dst_blob data format:%d is not support",
                           kFrameNull = "src_frame(%p) and dst_frame(%p) must not be nullptr",
                           kNoAvx2 = "the processor has no AVX2", kSilent = "",
                           kLongRow =
                               "width(%d) * channels(%d) must not exceed %d elements of a row",
                           kHuge = "a result of %dx%d pixels is too large",
                           kHugeKernel = "kernel of %dx%d is too large for a frame of %dx%d";

constexpr DocumentedLine kLines[] = {
    // Binary arithmetic.
    {kBinary, kParam,
     "Invalid input: src1_frame(%p), src2_frame(%p), and dst_frame(%p) must not be nullptr"},
    {kBinary, kParam,
     "Invalid input: src1_frame(%d), src2_frame(%d), and dst_frame(%d) must all be in host memory"},
    {kBinary, kParam,
     "Invalid input: src1_frame->data[0](%p), src2_frame->data[0](%p), and dst_frame->data[0](%p) "
     "must not be nullptr"},
    {kBinary, kParam,
     "Invalid input: src1_frame->video.format(%d), src2_frame->video.format(%d), and "
     "dst_frame->video.format(%d) must be the same"},
    {kBinary, kUnsupported,
     "Invalid input: src1_frame->video.format(%d), src2_frame->video.format(%d), and "
     "dst_frame->video.format(%d) must be either RGB Family"},
    {kBinary, kParam,
     "src1_frame = (%p) src2_frame = (%p) dst_frame = (%p) one or more input frames are null"},
    {kBinary, kParam,
     "src1_frame info (width=%d, height=%d, channels=%d, format=%d). src2_frame info : (width=%d "
     "height=%d, channels=%d, format=%d))"},
    {kBinary, kParam,
     "src1_frame info (width=%d, height=%d, channels=%d, format=%d). dst_frame info : (width=%d, "
     "height=%d, channels=%d, format=%d))"},
    {kBinary, kUnsupported, "Unsupported pixel format: %d"},
    {kBinary, kParam, "src1_frame channels(%d) must not exceed %d"},
    {kBinary, kParam, "alpha(%p), beta(%p) and gamma(%p) must not be nullptr"},
    {kBinary, kParam,
     "src1_frame->data[0](%p), src2_frame->data[0](%p) and dst_frame->data[0](%p) must not be "
     "nullptr"},
    {kBinary, kParam, kLongRow},
    {kBinary, kUnsupported, kNoAvx2},
    {kBinary, kParam, kSilent},
    {kBinary, kUnsupported, kSilent},
    // Unary arithmetic.
    {kUnary, kParam, "src:(%p), dst:(%p) must not be nullptr"},
    {kUnary, kParam, "src->data[0](%p), dst->data[0](%p) must not be nullptr"},
    {kUnary, kParam, "src->memory(%d), dst->memory(%d) must be in host memory"},
    {kUnary, kParam,
     "Invalid input: src->video.format(%d), dst->video.format(%d) must be the same"},
    {kUnary, kUnsupported,
     "Invalid input: src->video.format(%d), dst->video.format(%d) must be either RGB Family"},
    {kUnary, kParam, "src:%p or dst:%p is nullptr"},
    {kUnary, kParam, "src->data[0](%p) or dst->data[0](%p) pointers null"},
    {kUnary, kParam,
     "src(width=%d, height=%d, channels=%d, format=%d) dst(width=%d, height=%d, channels=%d, "
     "format=%d) frame info mismatch"},
    {kUnary, kUnsupported, "Unsupported pixel format: %d"},
    {kUnary, kParam, "src1_frame(%p) or dst_frame(%p) is null"},
    {kUnary, kParam,
     "src1_frame(width=%d, height=%d, channels=%d, format=%d) and dst_frame(width=%d, height=%d, "
     "channels=%d, format=%d) dimension mismatch"},
    {kUnary, kParam, "src channels(%d) must not exceed %d"},
    {kUnary, kParam, "scale(%p) and offset(%p) must not be nullptr"},
    {kUnary, kParam, "src->data[0](%p) and dst->data[0](%p) must not be nullptr"},
    {kUnary, kParam, kLongRow},
    {kUnary, kUnsupported, kNoAvx2},
    {kUnary, kParam, kSilent},
    {kUnary, kUnsupported, kSilent},
    // Statistics.
    {kStatistics, kParam, "src:(%p), src->data[0]:(%p) must not be nullptr"},
    {kStatistics, kParam, "src->memory(%d) must be in host memory"},
    {kStatistics, kUnsupported, "Invalid input: src->video.format(%d) must be either RGB Family"},
    {kStatistics, kParam, "src:%p or dst_array:%p is nullptr"},
    {kStatistics, kParam, "src->data[0](%p) is nullptr"},
    {kStatistics, kUnsupported, "Unsupported pixel format: %d"},
    {kStatistics, kParam, "src_frame(%p) or dst_array(%p) is null"},
    {kStatistics, kParam, "Invalid input: op(%d) is out of range"},
    {kStatistics, kParam, "src channels(%d) must not exceed %d"},
    {kStatistics, kParam, "src->data[0](%p) must not be nullptr"},
    {kStatistics, kParam, "dst_array elements(%p) must not be nullptr"},
    {kStatistics, kParam, kLongRow},
    {kStatistics, kMemory, "Failed to allocate dst_array"},
    // Softmax.
    {kSoftmax, kParam, "src_blob or dst_blob is null"},
    {kSoftmax, kParam, "dims size mismatch: src=%d, dst=%d"},
    {kSoftmax, kParam, "dim[%d] value mismatch: src=%d, dst=%d"},
    {kSoftmax, kUnsupported, "only float data type is supported"},
    {kSoftmax, kParam, "buffer is null"},
    {kSoftmax, kParam, "src_blob(%p) or dst_blob(%p) is null"},
    {kSoftmax, kParam, "dims size(%d) must not exceed %d"},
    {kSoftmax, kParam, "dim[%d] value(%d) must not be negative"},
    {kSoftmax, kParam, "invalid axis: %d (real check %d in [0, %d))"},
    {kSoftmax, kUnsupported,
     "src_blob->data_type(%d),dst_blob->data_type(%d). only float data type is supported"},
    {kSoftmax, kParam, "src_blob->buffer(%p) or dst_blob->buffer(%p) is null"},
    {kSoftmax, kParam, "src buffer data(%p) or dst buffer data(%p) is null"},
    {kSoftmax, kParam, "invalid axis: %d, dims size: %d"},
    {kSoftmax, kUnsupported,
     "src blob data type %d or dst blob data type %d is not supported for AVX softmax"},
    {kSoftmax, kUnsupported, kNoAvx2},
    {kSoftmax, kParam, kSilent},
    // Colour.
    {kColor, kParam, kFrameNull},
    {kColor, kUnsupported, "Video format src fmt:%d dst fmt:%d not supported yet"},
    {kColor, kUnsupported,
     "Current convert color is not implemented, src format: %d, des format: %d"},
    {kColor, kParam, "src channels(%d) and dst channels(%d) do not fit formats %d and %d"},
    {kColor, kParam, "rows of %d pixels are too long"},
    {kColor, kParam, "a plane of src_frame(%p) or dst_frame(%p) is NULL"},
    {kColor, kParam, "frame data is NULL"},
    {kColor, kParam, "invalid frame dimensions: %dx%d"},
    {kColor, kParam, "linesize[0](%d) of a frame of %d rows is no span of bytes"},
    {kColor, kParam, "linesize[1](%d) of a frame of %d rows is no span of bytes"},
    {kColor, kParam, "dst_frame->data[1] must not be nullptr"},
    {kColor, kParam, "dst_frame->data[1](%p) and dst_frame->data[2](%p) must not be nullptr"},
    {kColor, kParam, "src_frame->data[0](%p) and dst_frame->data[0](%p) must not be nullptr"},
    {kColor, kOk,
     "%s: Odd dimensions detected (width=%d, height=%d). May produce suboptimal results."},
    // Frames to blobs.
    {kFrameToBlob, kParam, "dst_blob(%p) must not be nullptr"},
    {kFramesToBlob, kParam, "dst_blob(%p) must not be nullptr"},
    {kFrameToBlob, kUnsupported, kNoLayout},
    {kFramesToBlob, kUnsupported, kNoLayout},
    {kFrameToBlob, kMemory, "malloc TavixFrames failed"},
    {kFrameToBlob, kMemory, "malloc frames failed"},
    {"TavixFrame", kParam, kFailed, true},
    {"TavixFrame", kUnsupported, kFailed, true},
    {"TavixFrame", kData, kFailed, true},
    {kFramesToBlob, kParam, "src_frames(%p) must not be nullptr"},
    {kFramesToBlob, kParam, "src_frame num:%d need to be 1"},
    {kFramesToBlob, kParam, "src_frames->frames(%p) must not be nullptr"},
    {"TavixFrame", kParam, "src_frame is nullptr"},
    {"TavixFrame", kData, "dst_blob_dims size:%d need to be 4"},
    {"TavixFrame", kData, "TavixBlobBufferGet is nullptr"},
    {"TavixFrame", kParam, "src_frame data[0] is nullptr"},
    {"TavixFrame", kParam,
     "src_frame_width:%d src_frame_height:%d src_frame_channel:%d need great or equle than "
     "dst_blob_width:%d dst_blob_height:%d dst_blob_channel:%d"},
    {"TavixFrame", kUnsupported, "ConvertFloat dst_blob data_type:%d is not support"},
    {"TavixFrame", kUnsupported, "ConvertUChar dst_blob data_type:%d is not support"},
    {"TavixFrame", kParam, "src_frame memory(%d) must be in host memory"},
    {"TavixFrame", kData, "dst_blob of %d x %d x %d x %d elements exceeds memory"},
    {"TavixFrame", kParam, "src_frame->linesize[0]:%d is too large for %d rows"},
    {"TavixFrame", kUnsupported, "FrameHWCToBlob%s is not support"},
    {"TavixFrame", kOk,
     "src_frame_width:%d src_frame_height:%d src_frame_channel:%d is different from "
     "dst_blob_width:%d dst_blob_height:%d dst_blob_channel:%d"},
    // Blobs to frames.
    {"TavixBlobToFrame", kParam, "src_blob(%p) must not be nullptr"},
    {"TavixBlobToFrame", kUnsupported, kNoLayout},
    {kBlobToFrame, kMemory, "malloc TavixFrames failed"},
    {kBlobToFrame, kMemory, "malloc TavixFrameV2 failed"},
    {"TavixBlobToFrame", kParam, kFailed, true},
    {"TavixBlobToFrame", kUnsupported, kFailed, true},
    {"TavixBlobToFrame", kData, kFailed, true},
    {"TavixBlobToFrame", kData, "TavixBlobBufferGet is nullptr"},
    {kBlobToFrames, kParam, "dst_frames(%p) must not be nullptr"},
    {kBlobToFrames, kParam, "dst_frames->frame_num:%d need to be 1"},
    {kBlobToFrames, kParam, "dst_frames->frames(%p) must not be nullptr"},
    {"TavixBlobToFrame", kParam, "dst_frame is nullptr"},
    {"TavixBlobToFrame", kParam, "dst_frame->data[0] is nullptr"},
    {"TavixBlobToFrame", kParam, "src_blob_dims.size:%d need to be 4"},
    {"TavixBlobToFrame", kParam,
     "dst_frame_width:%d dst_frame_height:%d dst_frame_channel:%d need great or equle than "
     "src_blob_width:%d src_blob_height:%d src_blob_channel:%d"},
    {"TavixBlobToFrame", kUnsupported,
     "BlobToFrameDataConvert dst_blob data_type:%d is not support"},
    {"TavixBlobToFrame", kUnsupported, "ConvertUChar dst_blob data_type:%d is not support"},
    {"TavixBlobToFrame", kParam, "dst_frame memory(%d) must be in host memory"},
    {"TavixBlobToFrame", kParam, "src_blob of %d x %d x %d x %d elements exceeds memory"},
    {"TavixBlobToFrame", kParam, "dst_frame->linesize[0]:%d is too large for %d rows"},
    {"TavixBlobToFrame", kUnsupported, "Blob%sToFrameHWC is not support"},
    {"TavixBlobToFrame", kOk,
     "dst_frame_width:%d dst_frame_height:%d dst_frame_channel:%d is different from "
     "src_blob_width:%d src_blob_height:%d src_blob_channel:%d"},
    // Normalisation.
    {kNormalize, kParam, "src_frame(%p) must not be nullptr"},
    {kNormalize, kParam, "TavixFrameDataTypeConvertByCPU not suppoted input data format:%d"},
    {kNormalize, kParam, "dst_frame(%p) must not be nullptr"},
    {kNormalize, kMemory, "TavixVideoFrameAllocV2 error"},
    {kNormalize, kParam, "DataTypeConvertCPU src_frame:%p des_frame:%p or norm_vals:%p is nullptr"},
    {kNormalize, kParam, "DataTypeConvertCPU failed:%d", true},
    {kNormalize, kParam, "src_frame channels(%d) must not exceed those of format(%d)"},
    {kNormalize, kParam, "src_frame->linesize[0]:%d is too large for %d rows", false, true},
    // The core packs the rows of new frames.
    {kNormalize, kParam, "dst_frame->linesize[0]:%d is too large for %d rows", false, true},
    // Geometry.
    {kResize, kParam, "TavixFrameResizeByCPU src frame:%p or des frame pointer:%p is nullptr"},
    {kResize, kParam, "TavixFrameResizeByCPU not suppoted src frame data format:%d"},
    {kResize, kParam, "TavixFrameResizeByCPU src frame data is nullptr"},
    {kResize, kParam, kForeign},
    {kResize, kParam, kHuge},
    {kScale, kParam, "TavixFrameResizeByScaleByCPU src frame:%p is nullptr"},
    {kScale, kParam, "TavixFrameResizeByScaleByCPU not suppoted src frame data format:%d"},
    {kScale, kParam, "TavixFrameResizeByScaleByCPU src frame data is nullptr"},
    {kScale, kParam, "TavixFrameResizeByScaleByCPU src frame memory:%d is not host memory"},
    {kScale, kParam, "TavixFrameResizeByScaleByCPU dst frame address:%p is nullptr"},
    // Takes a source of as many pixels as no test has memory for, as does a frame to warp into.
    {kScale, kParam, kHuge, false, true},
    {kScale, kMemory, "TavixFrameResizeByScaleByCPU dst frame alloc/data failed"},
    {kWarp, kParam, kNullFrames},
    {kWarp, kUnsupported, "Unsupported src frame type:%d or dst frame type:%d to OpencvType"},
    {kWarp, kParam, kNullPlanes},
    {kWarp, kParam, "src_frame->linesize[0]:%d or dst_frame->linesize[0]:%d is invalid"},
    {kWarp, kParam, kForeign},
    {kWarp, kParam, "matrix:%p is nullptr"},
    {kWarp, kParam, kHuge, false, true},
    {kWarp, kParam,
     "%s result size/type mismatch: result(%dx%d, type=%d), expected(%dx%d, type=%d)"},
    {kRoi, kParam, kNullFrames},
    {kRoi, kUnsupported, "Unsupported Frame Type:%d To OpencvType"},
    {kRoi, kParam, kNullPlanes},
    {kRoi, kParam, kForeign},
    {kBorder, kParam, kNullFrames},
    {kBorder, kUnsupported, "src frame video format:%d not support"},
    {kBorder, kParam, "src_frame->data[0] is nullptr"},
    {kBorder, kParam, kForeign},
    {kBorder, kParam,
     "src frame:%dx%d can not take border:%d with top:%d, bottom:%d, left:%d, right:%d"},
    // Filters.
    {kBlur, kParam, kNullFrames},
    {kBlur, kParam, kNullPlanes},
    {kBlur, kParam, kNoType},
    {kBlur, kParam, "src_frame and dst_frame have different formats: %d vs %d"},
    {kBlur, kParam, kForeign},
    {kBlur, kParam, kHugeKernel},
    {kBlur, kParam, kOpenCv},
    {kBox, kParam, kNullFrames},
    {kBox, kParam, "src_frame->data[0]:%p or des_frame->data[0]:%p is nullptr"},
    {kBox, kUnsupported, "Unsupported Frame Type To OpencvType!"},
    {kBox, kParam, kForeign},
    {kBox, kParam, kHugeKernel},
    {kBox, kParam, "kernel_size:%p is nullptr"},
    {kBox, kParam, kOpenCv},
    {kFilter, kParam, kNullFrames},
    {kFilter, kParam, kNullPlanes},
    {kFilter, kParam, kNoType},
    {kFilter, kParam, "kernel:%p is nullptr"},
    {kFilter, kParam, "kernel->data_type:%d is not supported!"},
    {kFilter, kParam, kForeign},
    {kFilter, kParam, kHugeKernel},
    {kFilter, kParam, kOpenCv},
    {kDilate, kParam, kNullFrames},
    {kDilate, kParam, kNullPlanes},
    {kDilate, kParam, kNoType},
    {kDilate, kParam, "kernel:%p is nullptr"},
    {kDilate, kUnsupported, "Only UINT8 data type is supported, current data type: %d"},
    {kDilate, kParam, kForeign},
    {kDilate, kParam, kHugeKernel},
    {kDilate, kParam, "Dilate failed: %s"},
    {kErode, kParam, kNullFrames},
    {kErode, kParam, kNullPlanes},
    {kErode, kParam, kNoType},
    {kErode, kParam, "kernel:%p is nullptr"},
    {kErode, kUnsupported, "Only UINT8 data type is supported, current data type: %d"},
    {kErode, kParam, kForeign},
    {kErode, kParam, kHugeKernel},
    {kErode, kParam, "Erosion failed: %s"},
    {kThreshold, kParam, kNullFrames},
    {kThreshold, kUnsupported, kNoType},
    {kThreshold, kParam, kNullPlanes},
    {kThreshold, kParam, kForeign},
    {kThreshold, kMemory, "opencv threshold failed: %s"},
    {kMinMax, kParam, kNullFrames},
    {kMinMax, kParam, kNullPlanes},
    {kMinMax, kParam, "Unsupported Frame Type To OpencvType!"},
    {kMinMax, kParam, kForeign},
    {kMinMax, kParam, "normalize failed: %s"},
    // Channels, masks and fills.
    {kSplit, kParam, "src_frame:%p or dst_frames:%p is nullptr"},
    {kSplit, kUnsupported, "Unsupported src_frame pixel type:%d to OpencvType!"},
    {kSplit, kParam, "src_frame->data[0] is nullptr"},
    {kSplit, kParam, "src_frame->memory:%d is not host memory"},
    {kSplit, kParam, "Split %s requires %d channels (src has %d)"},
    {kSplit, kMemory, "%s channel alloc failed"},
    {kMask, kParam, "src_frame:%p, mask:%p or dst_frame address:%p is nullptr"},
    {kMask, kParam, "mask channels:%d need to be 1"},
    {kMask, kUnsupported,
     "mask video format is:%d now only support TAVIX_PIX_FMT_GRAY8 or TAVIX_PIX_FMT_GRAYF32!"},
    {kMask, kUnsupported,
     "Unsupported src_frame pixel type:%d or mask pixel type:%d to OpencvType!"},
    {kMask, kParam, "src_frame->memory:%d or mask->memory:%d is not host memory"},
    {kMask, kMemory, "des frame data allocate error"},
    {kMask, kParam, "src_frame->data[0]:%p or mask->data[0]:%p is nullptr"},
    {kProduct, kParam, "alpha_frame:%p, beta_frame:%p or dst_frame address:%p is nullptr"},
    {kProduct, kParam, "*des_frame:%p pointer need to be nullptr or equal to beta_frame:%p"},
    {kProduct, kParam, kNoType},
    {kProduct, kParam, "alpha_frame->memory:%d or beta_frame->memory:%d is not host memory"},
    {kProduct, kMemory, "TavixVideoFrameAllocV2 failed"},
    {kProduct, kMemory, "multiply failed: %s"},
    {kFill, kParam, kNullFrames},
    {kFill, kParam, "TavixFrameMemfillByCPU byte_size is not support\n"},
    {kFill, kParam, kNullPlanes},
    {kFill, kParam, kForeign},
    {kFill, kParam, kLongRow},
    {kFill, kParam, "dst_frame->linesize[0]:%d is too large for %d rows"},
    // No format has elements of another size.
    {kFill, kUnsupported, "TavixFrameMemfillByCPU src_frame video format:%d is not implemented now",
     false, true},
};

// How many characters of the text the conversion after % could have made, at most.
size_t printed_length(char conversion, std::string_view text) {
  size_t n = 0;
  const auto count = [&](auto accepts) {
    while (n < text.size() && accepts(static_cast<unsigned char>(text[n]))) ++n;
  };
  switch (conversion) {
    case 'p':
      if (text.starts_with("(nil)")) return 5;
      if (!text.starts_with("0x")) return 0;
      n = 2;
      count([](int c) { return std::isxdigit(c) != 0; });
      return n;
    case 'd':
      n = text.starts_with('-') ? 1 : 0;
      count([](int c) { return std::isdigit(c) != 0; });
      return n;
    default:  // a text may be anything
      return text.size();
  }
}

}  // namespace

bool matches(std::string_view format, std::string_view text) {
  const size_t plain = std::min(format.find('%'), format.size());
  if (!text.starts_with(format.substr(0, plain))) return false;
  if (plain == format.size()) return text.size() == plain;
  text.remove_prefix(plain);
  const char conversion = format[plain + 1];
  format.remove_prefix(plain + 2);
  for (size_t n = printed_length(conversion, text); n > 0; --n)
    if (matches(format, text.substr(n))) return true;
  return false;
}

std::span<const DocumentedLine> documented_lines() {
  return kLines;
}

const DocumentedLine *find_line(std::string_view function, int32_t status, std::string_view text) {
  const auto row = std::ranges::find_if(kLines, [&](const DocumentedLine &line) {
    return line.status == status && function.starts_with(line.functions) &&
           (line.format.empty() ? text.empty() : matches(line.format, text));
  });
  return row == std::end(kLines) ? nullptr : row;
}

}  // namespace tavix::fuzz
