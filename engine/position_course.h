// Where the song position stood at each moment of the recent past, so that an input message is
// stamped with the position of its own time, however late the engine drains it. The engine thread
// notes each change of course: a start, a jump, a new rate; between them the position moved on at
// the rate. Fixed storage: nothing here allocates.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "core/records.h"

namespace kestrune {

class position_course {
  public:
    // From `us` on the position runs from `fine` at num / den fine units per µs (num 0: it
    // stands). Earlier times map to this point: what came before a start or a jump is gone.
    void restart(std::int64_t us, std::int64_t fine, std::int64_t num, std::int64_t den) {
        count_ = 0;
        change(us, fine, num, den);
    }
    // The rate, or the standing position, changes at `us`.
    void change(std::int64_t us, std::int64_t fine, std::int64_t num, std::int64_t den) {
        newest_ = (newest_ + 1) % points_.size();
        points_[newest_] = {us, fine, num, den > 0 ? den : 1};
        if (count_ < points_.size()) ++count_;
    }
    bool empty() const { return count_ == 0; }
    // The rate noted last.
    bool runs_at(std::int64_t num, std::int64_t den) const {
        return count_ > 0 && points_[newest_].num == num && points_[newest_].den == den;
    }

    // The fine position at `us`, never beyond `now_fine`, where the position stands now.
    std::int64_t fine_at(std::int64_t us, std::int64_t now_fine) const {
        if (count_ == 0) return now_fine;
        std::size_t i = newest_;
        std::int64_t limit = now_fine;
        for (std::size_t n = 1; n < count_ && points_[i].us > us; ++n) {
            limit = points_[i].fine;
            i = (i + points_.size() - 1) % points_.size();
        }
        const point& p = points_[i];
        if (us <= p.us) return p.fine;
        __extension__ typedef __int128 wide;
        const std::int64_t moved =
            static_cast<std::int64_t>(static_cast<wide>(us - p.us) * p.num / p.den);
        const std::int64_t fine = p.fine + moved;
        return fine < limit || limit < p.fine ? fine : limit;
    }

  private:
    struct point {
        std::int64_t us;
        std::int64_t fine;
        std::int64_t num;
        std::int64_t den;
    };
    // Enough for the changes of a second or more of tempo ramps; input is never that late.
    std::array<point, 256> points_{};
    std::size_t newest_ = 0;
    std::size_t count_ = 0;
};

}  // namespace kestrune
