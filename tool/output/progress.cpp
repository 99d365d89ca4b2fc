#include "tool/output/progress.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdio>
#include <iomanip>
#include <iostream>
#include <sstream>
#include <string_view>
#include <unistd.h>

namespace tool {
namespace {

constexpr auto redraw_interval = std::chrono::milliseconds(100);
constexpr std::size_t bar_length = 30;

/// What moves the cursor is written past std::cerr, which shows control characters as text.
void write_to_terminal(std::string_view text) {
  std::cerr.flush();
  if (write(STDERR_FILENO, text.data(), text.size()) < 0) {
    // Nobody is left to see the bar.
  }
}

}  // namespace

std::string short_count(double count) {
  constexpr std::array units{"", " k", " M", " G"};
  std::size_t unit = 0;
  while (count >= 999.95 && unit + 1 < units.size()) {
    count /= 1000.0;
    ++unit;
  }
  std::ostringstream text;
  text << std::fixed << std::setprecision(unit == 0 ? 0 : 1) << count << units[unit];
  return text.str();
}

Progress::Progress(double total_rays)
    : terminal_(isatty(STDERR_FILENO) == 1), total_(std::max(1.0, total_rays)), start_(Clock::now()), drawn_(start_) {}

Progress::~Progress() {
  if (!terminal_) return;
  draw();
  std::cerr << '\n';
}

void Progress::add(std::uint64_t rays) {
  const std::scoped_lock lock(mutex_);
  done_ += rays;
  const auto now = Clock::now();
  if (!terminal_ || now - drawn_ < redraw_interval) return;
  drawn_ = now;
  draw();
}

void Progress::draw() const {
  const double share = std::min(1.0, static_cast<double>(done_) / total_);
  const double seconds = std::chrono::duration<double>(Clock::now() - start_).count();
  const double rays_per_second = seconds > 0.0 ? static_cast<double>(done_) / seconds : 0.0;
  const auto left = static_cast<long long>(share > 0.0 ? seconds * (1.0 - share) / share : 0.0);
  const auto filled = static_cast<std::size_t>(share * bar_length);
  std::ostringstream line;
  line << "\r[" << std::string(filled, '#') << std::string(bar_length - filled, '.') << "] " << std::setw(3)
       << static_cast<int>(share * 100.0) << "%  " << short_count(rays_per_second) << " rays/s  " << left / 60 << ':'
       << std::setw(2) << std::setfill('0') << left % 60 << " left   ";
  write_to_terminal(line.str());
}

void Progress::note(const std::string& line) {
  const std::scoped_lock lock(mutex_);
  // The bar is drawn over, to its end.
  if (terminal_) write_to_terminal("\r\x1b[K");
  std::cerr << line << '\n';
  if (terminal_) draw();
}

}  // namespace tool
