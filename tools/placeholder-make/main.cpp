// Writes the viewer's placeholder: a dark frame with a lighter band at the top and a marker
// in the top-left corner, so that a picture on its head or mirrored is plain to see.
#include <cstdio>
#include <vector>

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: placeholder-make OUT.ppm\n");
        return 2;
    }
    const int w = 1024, h = 512;
    std::vector<unsigned char> rgb(static_cast<size_t>(w) * h * 3);
    for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w; ++x) {
            unsigned char* p = &rgb[(static_cast<size_t>(y) * w + x) * 3];
            // Darker towards the bottom.
            const int shade = 70 - y * 50 / h;
            p[0] = p[1] = p[2] = static_cast<unsigned char>(shade);
            if (y < 24) p[0] = p[1] = p[2] = 110;
            // An "L" of amber in the top-left corner: its foot points right, its stem up.
            const bool stem = x >= 48 && x < 72 && y >= 48 && y < 200;
            const bool foot = x >= 48 && x < 160 && y >= 176 && y < 200;
            if (stem || foot) {
                p[0] = 230;
                p[1] = 160;
                p[2] = 40;
            }
            // A frame line round the picture.
            if (x < 4 || y < 4 || x >= w - 4 || y >= h - 4) p[0] = p[1] = p[2] = 150;
        }
    }
    std::FILE* f = std::fopen(argv[1], "wb");
    if (!f) {
        std::perror(argv[1]);
        return 1;
    }
    std::fprintf(f, "P6\n%d %d\n255\n", w, h);
    const bool ok = std::fwrite(rgb.data(), 1, rgb.size(), f) == rgb.size();
    return (std::fclose(f) == 0 && ok) ? 0 : 1;
}
