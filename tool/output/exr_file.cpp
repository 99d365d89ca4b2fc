#include "tool/output/exr_file.h"

#include <ImfChannelList.h>
#include <ImfDoubleAttribute.h>
#include <ImfFrameBuffer.h>
#include <ImfFramesPerSecond.h>
#include <ImfHeader.h>
#include <ImfIO.h>
#include <ImfIntAttribute.h>
#include <ImfMultiView.h>
#include <ImfOutputFile.h>
#include <ImfStandardAttributes.h>
#include <ImfStringAttribute.h>
#include <ImfThreading.h>
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <half.h>
#include <new>
#include <optional>
#include <thread>
#include <utility>

namespace tool {
namespace {

/// What OpenEXR writes to. It writes once more while an unfinished file is destroyed, and must not meet an exception then.
class Stream : public Imf::OStream {
 public:
  explicit Stream(RandomOutput& file) : OStream(file.title().c_str()), file_(&file) {}

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

  RandomOutput* file_;
  std::exception_ptr failed_;
};

Imath::Box2i box(int left, int top, int width, int height) {
  return {Imath::V2i(left, top), Imath::V2i(left + width - 1, top + height - 1)};
}

Imath::M44f matrix(const RowMatrix& rows) {
  Imath::M44f matrix;
  for (int row = 0; row < 4; ++row)
    for (int column = 0; column < 4; ++column)
      // Without a zero's sign, which only confuses those who read the file.
      matrix[row][column] = static_cast<float>(rows[static_cast<std::size_t>(row)][static_cast<std::size_t>(column)]) + 0.0F;
  return matrix;
}

void add_facts(Imf::Header& header, const PictureMetadata& metadata) {
  const auto text = [&](const std::string& name, const std::string& value) {
    if (!value.empty()) header.insert("ovicam/" + name, Imf::StringAttribute(value));
  };
  const auto number = [&](const std::string& name, double value) {
    header.insert("ovicam/" + name, Imf::DoubleAttribute(value));
  };
  if (!metadata.xmp.empty()) header.insert("xmp", Imf::StringAttribute(metadata.xmp));
  text("tool", metadata.tool_version);
  text("module", metadata.module_version);
  for (const auto& [name, value] : metadata.more) text(name, value);
  if (metadata.scene.empty()) return;
  text("scene", metadata.scene);
  text("camera", metadata.camera);
  text("server", metadata.server);
  text("light", metadata.light);
  text("packing", metadata.packing);
  header.insert("ovicam/frame", Imf::IntAttribute(metadata.frame));
  number("seconds", metadata.time_seconds);
  number("zoomFactor", metadata.zoom_factor);
  number("filmWidthMetres", metadata.film_width_metres);
  number("filmHeightMetres", metadata.film_height_metres);
  for (const auto& [name, value] : metadata.parameters) number("parameter/" + name, value);
  for (const auto& [name, value] : metadata.settings) text("setting/" + name, value);
  Imf::addFramesPerSecond(header, Imf::guessExactFps(metadata.frames_per_second));
  Imf::addWorldToCamera(header, matrix(metadata.world_to_camera));
  if (metadata.world_to_ndc) Imf::addWorldToNDC(header, matrix(*metadata.world_to_ndc));
  // OpenEXR refuses others.
  if (metadata.pixel_aspect > 1e-6 && metadata.pixel_aspect < 1e6)
    header.pixelAspectRatio() = static_cast<float>(metadata.pixel_aspect);
}

Imf::Header make_header(const ExrLayout& layout) {
  const PixelBox& part = layout.part;
  Imf::Header header(box(0, 0, layout.frame_width, layout.frame_height), box(part.left, part.top, part.width, part.height));
  // Of numbers that change little from one pixel to the next, PIZ makes half as much as ZIP, in less time.
  header.compression() = layout.smooth ? Imf::PIZ_COMPRESSION : Imf::ZIP_COMPRESSION;
  for (const ExrChannel& channel : layout.channels)
    header.channels().insert(channel.name, Imf::Channel(channel.half ? Imf::HALF : Imf::FLOAT));
  if (!layout.views.empty()) Imf::addMultiView(header, layout.views);
  add_facts(header, layout.metadata);
  return header;
}

}  // namespace

std::string name_in_view(const std::string& channel, const std::vector<std::string>& views, int view) {
  return Imf::insertViewName(channel, views, view);
}

struct ExrWriter::State {
  State(RandomOutput& to, const ExrLayout& layout)
      : file(&to), stream(to), part(layout.part), channels(layout.channels), next_row(part.top) {
    const int threads = layout.smooth ? static_cast<int>(std::thread::hardware_concurrency()) : 0;
    if (threads > Imf::globalThreadCount()) Imf::setGlobalThreadCount(threads);
    output.emplace(stream, make_header(layout), threads);
  }

  RandomOutput* file;
  Stream stream;
  PixelBox part;
  std::vector<ExrChannel> channels;
  int next_row;
  std::optional<Imf::OutputFile> output;
  /// Of the rows that are being written: the samples of each kind, pixel by pixel.
  std::vector<half> halves;
  std::vector<float> floats;
};

ExrWriter::ExrWriter(RandomOutput& file, const ExrLayout& layout) {
  try {
    state_ = std::make_unique<State>(file, layout);
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::exception& error) {
    file.fail(error.what());
  }
  state_->stream.throw_if_failed();
}

ExrWriter::~ExrWriter() = default;

void ExrWriter::write_rows(std::span<const float> samples) {
  State& state = *state_;
  const std::size_t channel_count = state.channels.size();
  const auto width = static_cast<std::size_t>(state.part.width);
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

  const Imath::V2i origin(state.part.left, state.next_row);
  Imf::FrameBuffer buffer;
  std::size_t next_half = 0;
  std::size_t next_float = 0;
  for (const ExrChannel& channel : state.channels) {
    const std::size_t stride = channel.half ? half_count * sizeof(half) : float_count * sizeof(float);
    const void* first =
        channel.half ? static_cast<void*>(&state.halves[next_half++]) : static_cast<void*>(&state.floats[next_float++]);
    buffer.insert(channel.name, Imf::Slice::Make(channel.half ? Imf::HALF : Imf::FLOAT, first, origin, state.part.width,
                                                 static_cast<std::int64_t>(rows), stride, stride * width));
  }
  try {
    state.output->setFrameBuffer(buffer);
    state.output->writePixels(static_cast<int>(rows));
  } catch (const std::bad_alloc&) {
    throw;
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
