#include "hand_off_order.h"

namespace NapiHost {

uint64_t HandOffOrder::NextPlace()
{
    std::lock_guard<std::mutex> lock(mu_);
    return nextPlace_++;
}

bool HandOffOrder::GiveUp(uint64_t place) noexcept
{
    std::lock_guard<std::mutex> lock(mu_);
    if (place < nextDue_) {
        return false;
    }
    try {
        early_[place].givenUp = true;
    } catch (...) {
        return false;
    }
    for (const auto& [waiting, entry] : early_) {
        if (!entry.givenUp) {
            return true;
        }
    }
    return false;
}

bool HandOffOrder::Arrive(uint64_t place, void* data) noexcept
{
    std::lock_guard<std::mutex> lock(mu_);
    try {
        early_[place] = Early{data, false};
        return true;
    } catch (...) {
        return false;
    }
}

bool HandOffOrder::PopDue(void*& data)
{
    std::lock_guard<std::mutex> lock(mu_);
    for (auto it = early_.begin(); it != early_.end() && it->first == nextDue_; it = early_.erase(it)) {
        ++nextDue_;
        if (!it->second.givenUp) {
            data = it->second.data;
            early_.erase(it);
            return true;
        }
    }
    return false;
}

std::vector<void*> HandOffOrder::TakeWaiting()
{
    std::vector<void*> waiting;
    std::lock_guard<std::mutex> lock(mu_);
    for (const auto& [place, entry] : early_) {
        if (!entry.givenUp) {
            waiting.push_back(entry.data);
        }
    }
    early_.clear();
    return waiting;
}

} // namespace NapiHost
