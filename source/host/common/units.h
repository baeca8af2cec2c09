// SPDX-License-Identifier: Apache-2.0
// The units of the library: what log lines carry as their source file, whatever the build folder.
#pragma once

namespace tavix::module {

inline constexpr char kFrameConvertUnit[] = "source/host/tavix_frame_convert_cpu";
inline constexpr char kBlobSetUnit[] = "source/host/tavix_blob_set_cpu";
inline constexpr char kCvtColorUnit[] = "source/host/cpu/tavix_cvt_color";
inline constexpr char kCvtColorAvxUnit[] = "source/host/cpu/x86/cvt_color/cvt_color_yuv_avx";
inline constexpr char kArithmeticUnit[] = "source/host/cpu/common_c/arithmetic/arithmetic";
inline constexpr char kArithmeticAvxUnit[] = "source/host/cpu/x86/arithmetic/arithmetic_avx";
inline constexpr char kParallelUnit[] = "source/host/common/parallel/tavix_parallel_wrapper";

}  // namespace tavix::module
