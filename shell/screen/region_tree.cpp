#include "shell/screen/region_tree.h"

namespace kestrune {

int region_tree::index_of(int number) const {
    for (std::size_t i = 0; i < regions_.size(); ++i)
        if (regions_[i].number == number) return static_cast<int>(i);
    return -1;
}

int region_tree::append(int parent, screen_region r) {
    r.next = -1;
    r.child = -1;
    const int added = static_cast<int>(regions_.size());
    // The record whose next or child link gets the new one; found before the array grows.
    int owner = -1;
    bool as_child = false;
    auto at = [&](int i) -> screen_region& { return regions_[static_cast<std::size_t>(i)]; };
    if (parent != 0) {
        const int p = index_of(parent);
        if (p < 0) return -1;
        owner = p;
        as_child = true;
        if (at(p).child >= 0) {
            owner = at(p).child;
            as_child = false;
        }
    } else if (!regions_.empty()) {
        owner = 0;
    }
    if (owner >= 0 && !as_child)
        while (at(owner).next >= 0) owner = at(owner).next;
    regions_.push_back(std::move(r));
    if (owner >= 0) (as_child ? at(owner).child : at(owner).next) = added;
    return added;
}

bool region_tree::find_region_by_number(int number, rect& out) const {
    const int i = index_of(number);
    if (i < 0) return false;
    out = regions_[static_cast<std::size_t>(i)].rectangle;
    return true;
}

const screen_region* region_tree::hit_list(int first, int x, int y) const {
    for (int i = first; i >= 0; i = regions_[static_cast<std::size_t>(i)].next) {
        const screen_region& r = regions_[static_cast<std::size_t>(i)];
        if (r.hidden || !r.rectangle.contains(x, y)) continue;
        const screen_region* deeper = hit_list(r.child, x, y);
        return deeper ? deeper : &r;
    }
    return nullptr;
}

const screen_region* region_tree::find_region_at_point(int x, int y) const {
    return regions_.empty() ? nullptr : hit_list(0, x, y);
}

screen_region* region_tree::region(int number) {
    const int i = index_of(number);
    return i < 0 ? nullptr : &regions_[static_cast<std::size_t>(i)];
}

const screen_region* region_tree::region(int number) const {
    const int i = index_of(number);
    return i < 0 ? nullptr : &regions_[static_cast<std::size_t>(i)];
}

rect region_tree::place(int number) const {
    rect r;
    find_region_by_number(number, r);
    return r;
}

void region_tree::hide(int number, bool hidden) {
    if (screen_region* r = region(number)) r->hidden = hidden;
}

bool region_tree::is_hidden(int number) const {
    const screen_region* r = region(number);
    return !r || r->hidden;
}

void region_tree::set_lit_list(int first, bool lit) {
    for (int i = first; i >= 0; i = regions_[static_cast<std::size_t>(i)].next) {
        regions_[static_cast<std::size_t>(i)].lit = lit;
        set_lit_list(regions_[static_cast<std::size_t>(i)].child, lit);
    }
}

void region_tree::set_lit(int number, bool lit, bool subtree) {
    screen_region* r = region(number);
    if (!r) return;
    r->lit = lit;
    if (subtree) set_lit_list(r->child, lit);
}

bool region_tree::is_lit(int number) const {
    const screen_region* r = region(number);
    return r && r->lit;
}

static void paint_shape(canvas& c, const screen_region& r) {
    if (r.background == region_background::panel)
        c.fill_rect(r.rectangle, colour_role::panel);
    else if (r.background == region_background::dialog)
        c.fill_rect(r.rectangle, colour_role::dialog);
    switch (r.shape) {
        case region_shape::frame:
            if (r.framed) c.frame_rect(r.rectangle, colour_role::shadow);
            break;
        case region_shape::ellipse_button:
            c.ellipse(r.rectangle, r.lit ? colour_role::lit : colour_role::panel,
                      colour_role::shadow);
            break;
        case region_shape::raised_button:
            c.bevel(r.rectangle, r.lit);
            break;
        case region_shape::none:
            break;
    }
}

void region_tree::paint_list(canvas& c, const rect& clip, int first) const {
    for (int i = first; i >= 0; i = regions_[static_cast<std::size_t>(i)].next) {
        const screen_region& r = regions_[static_cast<std::size_t>(i)];
        if (r.hidden) continue;
        if (r.rectangle.intersects(clip)) {
            paint_shape(c, r);
            if (r.paint) r.paint(c, r);
        }
        paint_list(c, clip, r.child);
    }
}

void region_tree::paint(canvas& c, const rect& clip) const {
    if (!regions_.empty()) paint_list(c, clip, 0);
}

}  // namespace kestrune
