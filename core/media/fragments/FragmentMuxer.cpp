#include "core/media/fragments/FragmentMuxer.h"

#include "core/media/MovieSentences.h"
#include "core/media/fragments/FragmentSealing.h"

extern "C" {
#include <libavutil/opt.h>
}

namespace glintro {
namespace {

Result<void> addStream(AVFormatContext& output, const AVCodecContext& encoder) {
    AVStream* stream = avformat_new_stream(&output, nullptr);
    if (stream == nullptr) return failure(kCannotStartMovie, "out of memory");
    const int code = avcodec_parameters_from_context(stream->codecpar, &encoder);
    if (code < 0) return ffmpegFailure(kCannotStartMovie, code);
    stream->time_base = encoder.time_base;
    stream->avg_frame_rate = encoder.framerate;
    // The only one of HEVC's two tags that every player knows.
    if (encoder.codec_id == AV_CODEC_ID_HEVC) stream->codecpar->codec_tag = MKTAG('h', 'v', 'c', '1');
    return {};
}

} // namespace

void FragmentMuxer::Close::operator()(AVFormatContext* context) const {
    std::uint8_t* bytes = nullptr;
    if (context->pb != nullptr) avio_close_dyn_buf(context->pb, &bytes);
    av_free(bytes);
    context->pb = nullptr;
    avformat_free_context(context);
}

Result<FragmentMuxer> FragmentMuxer::create(const AVCodecContext& pictures, const AVCodecContext* sound) {
    AVFormatContext* context = nullptr;
    int code = avformat_alloc_output_context2(&context, nullptr, "mov", nullptr);
    if (code < 0) return ffmpegFailure(kCannotStartMovie, code);
    FragmentMuxer muxer{OutputInMemory(context)};
    code = avio_open_dyn_buf(&context->pb);
    if (code < 0) return ffmpegFailure(kCannotStartMovie, code);
    if (auto added = addStream(*context, pictures); !added) return std::unexpected(added.error());
    muxer.pictureTimeBase_ = pictures.time_base;
    if (sound != nullptr) {
        if (auto added = addStream(*context, *sound); !added) return std::unexpected(added.error());
        muxer.soundTimeBase_ = sound->time_base;
        muxer.priming_ = sound->initial_padding;
    }
    if (auto written = muxer.writeBeginning(); !written) return std::unexpected(written.error());
    return muxer;
}

Result<void> FragmentMuxer::writeBeginning() {
    // Times are exact as they are: none may be shifted for the sake of another track.
    output_->avoid_negative_ts = AVFMT_AVOID_NEG_TS_DISABLED;
    AVDictionary* options = nullptr;
    av_dict_set(&options, "movflags", "frag_custom+empty_moov+default_base_moof+skip_trailer", 0);
    av_dict_set(&options, "use_editlist", "0", 0);
    const int code = avformat_write_header(output_.get(), &options);
    av_dict_free(&options);
    if (code < 0) return ffmpegFailure(kCannotStartMovie, code);
    auto header = collectOutput();
    if (!header) return std::unexpected(header.error());
    const auto type = BoxReader(*header).box();
    if (!type || type->type != BoxType("ftyp")) return failure(kCannotStartMovie, "no file type");
    beginning_ = std::move(*header);
    const Bytes box = placeholder(static_cast<std::uint32_t>(priming_));
    beginning_.insert(beginning_.begin() + static_cast<std::ptrdiff_t>(type->whole.size()), box.begin(),
                      box.end());
    return {};
}

Result<void> FragmentMuxer::writePicture(AVPacket& packet) {
    // How long it is shown only the next picture tells. Where that one begins a fragment, FFmpeg puts it off
    // until a longer guess has passed.
    packet.duration = 1;
    return write(packet, 0, pictureTimeBase_);
}

Result<void> FragmentMuxer::writeSound(AVPacket& packet) {
    packet.pts += priming_;
    packet.dts += priming_;
    return write(packet, 1, soundTimeBase_);
}

Result<void> FragmentMuxer::write(AVPacket& packet, int stream, AVRational timeBase) {
    packet.stream_index = stream;
    av_packet_rescale_ts(&packet, timeBase, output_->streams[stream]->time_base);
    const int code = av_write_frame(output_.get(), &packet);
    if (code < 0) return ffmpegFailure(kCannotWriteMovie, code);
    return {};
}

Result<Bytes> FragmentMuxer::cut() {
    int code = av_write_frame(output_.get(), nullptr);
    // Else the next fragment would begin where the last packet's guessed length ends.
    if (code >= 0) code = av_opt_set(output_->priv_data, "movflags", "+frag_discont", 0);
    if (code < 0) return ffmpegFailure(kCannotWriteMovie, code);
    return collectOutput();
}

Result<Bytes> FragmentMuxer::collectOutput() {
    std::uint8_t* data = nullptr;
    const int size = avio_close_dyn_buf(output_->pb, &data);
    output_->pb = nullptr;
    Bytes bytes(data, data + size);
    av_free(data);
    const int code = avio_open_dyn_buf(&output_->pb);
    if (code < 0) return ffmpegFailure(kCannotWriteMovie, code);
    return bytes;
}

} // namespace glintro
