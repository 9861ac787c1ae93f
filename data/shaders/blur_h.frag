#version 120
#extension GL_ARB_texture_rectangle : enable
// Horizontal half of a five-tap symmetric Gaussian; the offsets fall between texels so that
// the linear filter does two taps in one.
uniform sampler2DRect videoFrame;
uniform float hBlurOffset[5];
uniform float hBlurWeight[5];

void main()
{
    vec2 tc = gl_TexCoord[0].st;
    vec4 sum = texture2DRect(videoFrame, tc) * hBlurWeight[0];
    for (int i = 1; i < 3; ++i) {
        sum += texture2DRect(videoFrame, tc + vec2(hBlurOffset[i], 0.0)) * hBlurWeight[i];
        sum += texture2DRect(videoFrame, tc - vec2(hBlurOffset[i], 0.0)) * hBlurWeight[i];
    }
    gl_FragColor = sum;
}
