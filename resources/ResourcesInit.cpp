// Anchors the embedded resources in the static library so that linking it is enough.
int LvxResources_Anchor() { return 0; }
