#include "tool/output/exr_file.h"

#include <ImfChannelList.h>
#include <ImfFrameBuffer.h>
#include <ImfHeader.h>
#include <ImfIO.h>
#include <ImfOutputFile.h>
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <half.h>
#include <optional>
#include <utility>

namespace tool {
namespace {

/// What OpenEXR writes to. It writes once more while an unfinished file is destroyed, and must not meet an exception then.
class Stream : public Imf::OStream {
 public:
  explicit Stream(NewFile& file) : OStream(file.name().c_str()), file_(&file) {}

  void write(const char bytes[], int count) override {
    if (failed_) return;
    guarded([&] { file_->write(std::as_bytes(std::span(bytes, static_cast<std::size_t>(count)))); });
  }
  std::uint64_t tellp() override {
    std::uint64_t position = 0;
    if (!failed_) guarded([&] { position = file_->position(); });
    return position;
  }
  void seekp(std::uint64_t position) override {
    if (!failed_) guarded([&] { file_->move_to(position); });
  }

  void throw_if_failed() const {
    if (failed_) std::rethrow_exception(failed_);
  }

 private:
  /// OpenEXR wraps, and sometimes swallows, what is thrown at it: the first failure is kept.
  template <class Step>
  void guarded(Step&& step) {
    try {
      step();
    } catch (...) {
      failed_ = std::current_exception();
    }
  }

  NewFile* file_;
  std::exception_ptr failed_;
};

Imf::Header make_header(int frame_width, int frame_height, const PixelBox& box, const std::vector<ExrChannel>& channels) {
  const Imath::Box2i frame(Imath::V2i(0, 0), Imath::V2i(frame_width - 1, frame_height - 1));
  const Imath::Box2i data(Imath::V2i(box.left, box.top), Imath::V2i(box.left + box.width - 1, box.top + box.height - 1));
  Imf::Header header(frame, data);
  header.compression() = Imf::ZIP_COMPRESSION;
  for (const ExrChannel& channel : channels)
    header.channels().insert(channel.name, Imf::Channel(channel.half ? Imf::HALF : Imf::FLOAT));
  return header;
}

}  // namespace

struct ExrWriter::State {
  State(NewFile& to, const Imf::Header& header, const PixelBox& written, std::vector<ExrChannel> listed)
      : file(&to), stream(to), box(written), channels(std::move(listed)), next_row(written.top) {
    output.emplace(stream, header);
  }

  NewFile* file;
  Stream stream;
  PixelBox box;
  std::vector<ExrChannel> channels;
  int next_row;
  std::optional<Imf::OutputFile> output;
  /// Of the rows that are being written: the samples of each kind, pixel by pixel.
  std::vector<half> halves;
  std::vector<float> floats;
};

ExrWriter::ExrWriter(NewFile& file, int frame_width, int frame_height, const PixelBox& box, std::vector<ExrChannel> channels) {
  const Imf::Header header = make_header(frame_width, frame_height, box, channels);
  state_ = std::make_unique<State>(file, header, box, std::move(channels));
  state_->stream.throw_if_failed();
}

ExrWriter::~ExrWriter() = default;

void ExrWriter::write_rows(std::span<const float> samples) {
  State& state = *state_;
  const std::size_t channel_count = state.channels.size();
  const auto width = static_cast<std::size_t>(state.box.width);
  const std::size_t rows = samples.size() / (channel_count * width);
  state.halves.clear();
  state.floats.clear();
  for (std::size_t i = 0; i < samples.size(); ++i)
    if (state.channels[i % channel_count].half)
      state.halves.emplace_back(samples[i]);
    else
      state.floats.push_back(samples[i]);
  const auto half_count = static_cast<std::size_t>(std::ranges::count_if(state.channels, &ExrChannel::half));
  const std::size_t float_count = channel_count - half_count;

  const Imath::V2i origin(state.box.left, state.next_row);
  Imf::FrameBuffer buffer;
  std::size_t next_half = 0;
  std::size_t next_float = 0;
  for (const ExrChannel& channel : state.channels) {
    const std::size_t stride = channel.half ? half_count * sizeof(half) : float_count * sizeof(float);
    const void* first =
        channel.half ? static_cast<void*>(&state.halves[next_half++]) : static_cast<void*>(&state.floats[next_float++]);
    buffer.insert(channel.name, Imf::Slice::Make(channel.half ? Imf::HALF : Imf::FLOAT, first, origin, state.box.width,
                                                 static_cast<std::int64_t>(rows), stride, stride * width));
  }
  try {
    state.output->setFrameBuffer(buffer);
    state.output->writePixels(static_cast<int>(rows));
  } catch (const std::exception& error) {
    state.stream.throw_if_failed();
    state.file->fail(error.what());
  }
  state.stream.throw_if_failed();
  state.next_row += static_cast<int>(rows);
}

void ExrWriter::finish() {
  // The table of where each line is comes last; OpenEXR writes it on destruction.
  state_->output.reset();
  state_->stream.throw_if_failed();
}

}  // namespace tool
