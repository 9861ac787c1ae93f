
// ---- Film damage. "ombrel_CLB" is the core shader above with these steps after it; the
// generated main() calls them around CoreShader as the frame's variant asks, and a LeakWrapper
// generated with the treatment's leak centres. The CPU reference (src/damage/cpu) mirrors every
// step; change both together.

uniform float flashAmount;
uniform float leakAmount;
uniform float smearAmount;
uniform float leakSize;
uniform sampler2DRect borderTexture;    // unit 9, one channel that reads as grey
uniform float borderAmount;
uniform sampler2DRect overlayTexture;   // unit 10
uniform float overlayAmount;
uniform sampler2DRect overlayBTexture;  // unit 12
uniform float overlayBAmount;
uniform sampler2DRect gunkTexture;      // unit 11, four pictures of the cell, one per channel
uniform float gunkAmount;
uniform int gunkChannel;

varying vec2 normalized_coordinate;     // 0 to 1 over the picture, (0, 0) at its top left
varying vec2 borderCoordinate;
varying vec2 overlayCoordinate;
varying vec2 gunkCoordinate;

vec3 Screen(vec3 a, vec3 b)
{
    return 1.0 - (1.0 - a) * (1.0 - b);
}

// An exposure lift toward a warm white: red comes up first, blue last.
vec4 FlashWrapper(vec4 pixel)
{
    pixel.rgb = 1.0 - (1.0 - pixel.rgb) * exp(-flashAmount * vec3(1.0, 0.8, 0.55));
    return pixel;
}

// A soft orange glow screened over the picture around `centre`.
vec4 RGBSpotLeak(vec4 pixel, vec2 coordinate, vec2 centre, float size, float amount)
{
    if (size <= 0.0 || amount <= 0.0) return pixel;
    vec2 d = (coordinate - centre) / size;
    float glow = amount * exp(-3.0 * (d.x * d.x + d.y * d.y));
    pixel.rgb = Screen(pixel.rgb, glow * vec3(1.0, 0.5, 0.15));
    return pixel;
}

// A short streak along the film's run: the frame above the pixel mixed in, as when the film
// slips in the gate while the shutter is open. Its length is a share of the frame's height,
// found from how fast the frame's rows pass against the picture's.
vec4 SmearWrapper(vec4 pixel)
{
    float rowsPerPicture = abs(dFdy(gl_TexCoord[0].t) / dFdy(normalized_coordinate.y));
    if (smearAmount <= 0.0) return pixel;
    float stride = smearAmount * 0.004 * rowsPerPicture;
    vec3 sum = vec3(0.0);
    for (int k = 1; k <= 4; ++k)
        sum += texture2DRect(videoFrame, gl_TexCoord[0].st - vec2(0.0, stride * float(k))).rgb * 0.25;
    pixel.rgb += (sum - pixel.rgb) * (min(smearAmount, 1.0) * 0.5);
    return pixel;
}

vec4 OverlayWrapper(vec4 pixel)
{
    if (overlayAmount > 0.0)
        pixel.rgb = Screen(pixel.rgb, texture2DRect(overlayTexture, overlayCoordinate).rgb * overlayAmount);
    if (overlayBAmount > 0.0)
        pixel.rgb = Screen(pixel.rgb, texture2DRect(overlayBTexture, overlayCoordinate).rgb * overlayBAmount);
    return pixel;
}

vec4 GunkWrapper(vec4 pixel)
{
    if (gunkAmount <= 0.0) return pixel;
    vec4 cell = texture2DRect(gunkTexture, gunkCoordinate);
    float g = dot(cell, vec4(equal(ivec4(gunkChannel), ivec4(0, 1, 2, 3))));
    pixel.rgb *= 1.0 - gunkAmount * g;
    return pixel;
}

vec4 BorderWrapper(vec4 pixel)
{
    if (borderAmount <= 0.0) return pixel;
    float b = texture2DRect(borderTexture, borderCoordinate).r;
    pixel.rgb *= 1.0 + (b - 1.0) * borderAmount;
    return pixel;
}

