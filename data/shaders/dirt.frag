#version 120
#extension GL_ARB_texture_rectangle : enable
// The dirt pass. Blending multiplies the frame below: a sprite by (GL_ZERO,
// GL_ONE_MINUS_SRC_ALPHA) with its shape in alpha, the gate border by (GL_ZERO, GL_SRC_COLOR)
// with its grey in colour; this program serves both.
uniform sampler2DRect dirtMap;  // unit 0

void main()
{
    vec4 rect = gl_TexCoord[1];
    vec2 centre = (rect.xy + rect.zw) * 0.5;
    vec2 d = gl_TexCoord[0].st - centre;
    float turn = radians(gl_TexCoord[0].p);
    float c = cos(turn), s = sin(turn);
    vec2 at = centre + vec2(d.x * c - d.y * s, d.x * s + d.y * c);
    // Turned corners reach outside the sprite: its atlas neighbours must not show there.
    if (any(lessThan(at, rect.xy)) || any(greaterThan(at, rect.zw))) discard;
    vec4 texel = texture2DRect(dirtMap, at);
    gl_FragColor = vec4(texel.rgb, texel.a * gl_TexCoord[0].q);
}
