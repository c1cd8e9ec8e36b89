// The screen model: every field is a numbered region; painting, hit testing, mouse and keys go
// through the number. The records of one screen lie in one array, linked by index.
#pragma once

#include <functional>
#include <vector>

#include "core/canvas.h"

namespace kestrune {

enum class region_shape : std::int16_t {
    frame = 0,
    ellipse_button = 1,
    raised_button = 2,
    none = 3
};
enum class region_background : std::int16_t { plain = 0, panel = 1, dialog = 1000 };

struct screen_region {
    int next = -1;   // next sibling, -1 at the end
    int child = -1;  // first child
    region_shape shape = region_shape::none;
    bool hidden = false;
    int number = 0;
    rect rectangle;
    bool framed = false;
    region_background background = region_background::plain;
    bool lit = false;
    // Called with the record after the shape is drawn.
    std::function<void(canvas&, const screen_region&)> paint;
};

class region_tree {
  public:
    // Appends r as the last child of the region numbered `parent` (0: a new top-level sibling);
    // returns its index.
    int append(int parent, screen_region r);
    void clear() { regions_.clear(); }
    bool empty() const { return regions_.empty(); }

    // The rectangle of region `number`; false when the tree has no such region.
    bool find_region_by_number(int number, rect& out) const;
    // The deepest region that holds the point, or nullptr outside all.
    const screen_region* find_region_at_point(int x, int y) const;

    screen_region* region(int number);
    const screen_region* region(int number) const;
    rect place(int number) const;

    void hide(int number, bool hidden = true);
    void show(int number) { hide(number, false); }
    bool is_hidden(int number) const;
    // Lit on one record, or on it and its whole subtree.
    void set_lit(int number, bool lit, bool subtree = false);
    bool is_lit(int number) const;

    // Paints each visible region that meets the clip, then its children.
    void paint(canvas& c, const rect& clip) const;

    const std::vector<screen_region>& all() const { return regions_; }

  private:
    int index_of(int number) const;
    void paint_list(canvas& c, const rect& clip, int first) const;
    void set_lit_list(int first, bool lit);
    const screen_region* hit_list(int first, int x, int y) const;

    std::vector<screen_region> regions_;
};

}  // namespace kestrune
