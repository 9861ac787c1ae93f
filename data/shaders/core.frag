#version 120
#extension GL_ARB_texture_rectangle : enable
// The core shader of the look. The program's main() is generated and appended: it calls
// Start (or StartARGB), CoreShader and Finish (or FinishARGB).
//
// Order inside CoreShader: exposure, colour balls, lift/gamma/gain, saturation, stock table
// with the S-curve, black-and-white projection, levels, grain. The CPU reference
// (src/look/cpu) mirrors every step; change both together.

uniform sampler2DRect videoFrame;   // unit 0
uniform sampler2DRect grainMap;     // unit 1, 0.5 neutral, tiled by the shader itself
uniform sampler1D grainCurve;       // unit 2, grain strength per level and channel
uniform sampler3D stockLUT;         // unit 3, 64 x 64 x 64
uniform sampler1D histogram;        // unit 4, levels curve, entry i at level i / 4096
uniform sampler1D exposure;         // unit 5, entry i at code value i / 4095
uniform sampler1D liftLookup;       // unit 6, entry i at level i / 4096
uniform sampler1D ballsLookup;      // unit 8, entry i at level i / 4095

uniform float stockLUTAmount;
uniform float sBlendAmount;
uniform float histogramAmount;
uniform float grainAmount;
uniform float grainColorfulness;
uniform vec2 grainOffset;
uniform int grainSize[2];
uniform vec3 grainNeutral;          // the grain image's own mean: grain moves levels around it
// A table that gives back every level unchanged is left out of the program: the pipeline
// builds it with EXPOSURE_IS_IDENTITY, BALLS_IS_IDENTITY, LIFT_IS_IDENTITY or
// HISTOGRAM_IS_IDENTITY defined (three texture reads a pixel less each).
uniform mat4 saturation;            // sent transposed: rows in memory hold the weights
uniform mat4 blackandwhite;

const vec3 kLuma = vec3(0.2126, 0.7152, 0.0722);

float Coord4095(float v) { return (clamp(v, 0.0, 1.0) * 4095.0 + 0.5) / 4096.0; }
float Coord4096(float v) { return (clamp(v, 0.0, 1.0) * 4096.0 + 0.5) / 4096.0; }

vec3 PerChannel4095(sampler1D table, vec3 c)
{
    return vec3(texture1D(table, Coord4095(c.r)).r,
                texture1D(table, Coord4095(c.g)).g,
                texture1D(table, Coord4095(c.b)).b);
}

vec3 Shared4096(sampler1D table, vec3 c)
{
    return vec3(texture1D(table, Coord4096(c.r)).r,
                texture1D(table, Coord4096(c.g)).r,
                texture1D(table, Coord4096(c.b)).r);
}

// Each output channel is the weighted sum of R, G and B with a row of the matrix.
vec3 Weighted(vec3 c, mat4 m)
{
    return (vec4(c, 0.0) * m).rgb;
}

// A gentle film S: toe and shoulder around mid grey, fixed at 0, 0.5 and 1.
vec3 SCurve(vec3 x)
{
    return x + 0.5 * x * (1.0 - x) * (2.0 * x - 1.0);
}

vec3 Grain(vec3 c)
{
    vec2 size = vec2(float(grainSize[0]), float(grainSize[1]));
    if (size.x < 1.0 || size.y < 1.0) return c;
    // Rectangle textures cannot repeat: wrap the coordinate here and read texel centres, so
    // the tile joins without a seam.
    vec2 pos = floor(gl_FragCoord.xy) + grainOffset;
    pos = pos - size * floor(pos / size);
    pos -= size * step(size, pos);
    pos += size * (1.0 - step(vec2(0.0), pos));
    vec3 g = texture2DRect(grainMap, pos + 0.5).rgb - grainNeutral;
    float mono = dot(g, kLuma);
    float level = clamp(dot(c, kLuma), 0.0, 1.0);
    vec3 strength = texture1D(grainCurve, (level * 255.0 + 0.5) / 256.0).rgb;
    return c + mix(vec3(mono), g, grainColorfulness) * strength * grainAmount;
}

vec4 Start()
{
    return texture2DRect(videoFrame, gl_TexCoord[0].st);
}

// The frame's channels arrive as A, R, G, B.
vec4 StartARGB()
{
    return Start().gbar;
}

vec4 CoreShader(vec4 pixel)
{
    vec3 c = clamp(pixel.rgb, 0.0, 1.0);
#ifndef EXPOSURE_IS_IDENTITY
    c = PerChannel4095(exposure, c);
#endif
#ifndef BALLS_IS_IDENTITY
    c = PerChannel4095(ballsLookup, c);
#endif
#ifndef LIFT_IS_IDENTITY
    c = Shared4096(liftLookup, c);
#endif
    c = clamp(Weighted(c, saturation), 0.0, 1.0);
    vec3 film = texture3D(stockLUT, c * (63.0 / 64.0) + (0.5 / 64.0)).rgb;
    c = clamp(mix(c, film, stockLUTAmount), 0.0, 1.0);
    c = mix(c, SCurve(c), sBlendAmount);
    c = Weighted(c, blackandwhite);
#ifndef HISTOGRAM_IS_IDENTITY
    c = mix(c, Shared4096(histogram, c), histogramAmount);
#endif
    c = Grain(c);
    return vec4(clamp(c, 0.0, 1.0), pixel.a);
}

void Finish(vec4 pixel)
{
    gl_FragColor = pixel;
}

void FinishARGB(vec4 pixel)
{
    gl_FragColor = pixel.argb;
}
