#version 120
// One dirt sprite: coordinate 0 is (s, t) in atlas pixels, r the turn in degrees and q the
// alpha (read as .p and .q: .r would be s); coordinate 1 is the sprite's rectangle (u1, v1, u2, v2).
void main()
{
    gl_Position = gl_ModelViewProjectionMatrix * gl_Vertex;
    gl_TexCoord[0] = gl_MultiTexCoord0;
    gl_TexCoord[1] = gl_MultiTexCoord1;
}
