#include "tools/recording/player.h"

#include <utility>

#include "tools/output.h"

namespace tool {

namespace {

constexpr std::size_t kWindow = 600;

}  // namespace

Player::Player(Open open) : open_{std::move(open)}, source_{open_()} {
  if (!readOn()) throw Failure{"the recording holds no sample"};
}

bool Player::readOn() {
  std::optional<Report> report = source_->next();
  if (!report) return false;
  window_.push_back(std::move(*report));
  if (window_.size() > kWindow) {
    window_.pop_front();
    ++first_;
  }
  return true;
}

void Player::startAgain() {
  source_ = open_();
  window_.clear();
  first_ = 0;
  readOn();
}

bool Player::to(std::size_t number) {
  const std::size_t before = at_;
  if (number < first_) startAgain();
  while (number >= first_ + window_.size() && readOn()) {
  }
  at_ = std::min(number, first_ + window_.size() - 1);
  return at_ != before;
}

void Player::toEnd() {
  while (readOn()) {
  }
  at_ = first_ + window_.size() - 1;
}

void Player::toTime(std::int64_t sinceStartNs) {
  to(0);
  while (report().bootTimeNs - origin().bootTimeNs < sinceStartNs && to(at_ + 1)) {
  }
}

}  // namespace tool
