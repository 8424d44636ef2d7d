// Draws audio-and-camera-icon.png, the confirmation dialog's icon: a white
// microphone and video camera on a blue disc. Run once by hand:
//   g++ make_icon.cpp $(pkg-config --cflags --libs cairo) -o /tmp/make_icon &&
//   /tmp/make_icon audio-and-camera-icon.png
#include <cairo.h>

#include <cmath>
#include <cstdio>

static void roundedRect(cairo_t* cr, double x, double y, double w, double h, double r) {
    cairo_new_sub_path(cr);
    cairo_arc(cr, x + w - r, y + r, r, -M_PI / 2, 0);
    cairo_arc(cr, x + w - r, y + h - r, r, 0, M_PI / 2);
    cairo_arc(cr, x + r, y + h - r, r, M_PI / 2, M_PI);
    cairo_arc(cr, x + r, y + r, r, M_PI, 3 * M_PI / 2);
    cairo_close_path(cr);
}

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s out.png\n", argv[0]);
        return 2;
    }
    const int size = 128;
    cairo_surface_t* surface = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, size, size);
    cairo_t* cr = cairo_create(surface);

    // Disc with a slight vertical gradient.
    cairo_pattern_t* bg = cairo_pattern_create_linear(0, 4, 0, size - 4);
    cairo_pattern_add_color_stop_rgb(bg, 0, 0.27, 0.52, 0.93);
    cairo_pattern_add_color_stop_rgb(bg, 1, 0.12, 0.33, 0.74);
    cairo_arc(cr, size / 2.0, size / 2.0, size / 2.0 - 4, 0, 2 * M_PI);
    cairo_set_source(cr, bg);
    cairo_fill(cr);
    cairo_pattern_destroy(bg);

    cairo_set_source_rgb(cr, 1, 1, 1);
    // Microphone: capsule, holder arc, stem and foot.
    roundedRect(cr, 29, 26, 20, 44, 10);
    cairo_fill(cr);
    cairo_set_line_width(cr, 5);
    cairo_set_line_cap(cr, CAIRO_LINE_CAP_ROUND);
    cairo_arc(cr, 39, 58, 18, 0, M_PI);
    cairo_stroke(cr);
    cairo_move_to(cr, 39, 76);
    cairo_line_to(cr, 39, 92);
    cairo_move_to(cr, 28, 94);
    cairo_line_to(cr, 50, 94);
    cairo_stroke(cr);

    // Video camera: body and lens hood.
    roundedRect(cr, 62, 50, 32, 28, 6);
    cairo_fill(cr);
    cairo_move_to(cr, 92, 64);
    cairo_line_to(cr, 108, 52);
    cairo_line_to(cr, 108, 76);
    cairo_close_path(cr);
    cairo_fill(cr);

    cairo_destroy(cr);
    const cairo_status_t status = cairo_surface_write_to_png(surface, argv[1]);
    cairo_surface_destroy(surface);
    if (status != CAIRO_STATUS_SUCCESS) {
        std::fprintf(stderr, "cannot write %s: %s\n", argv[1], cairo_status_to_string(status));
        return 1;
    }
    return 0;
}
